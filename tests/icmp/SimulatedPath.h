#pragma once
// The ICMP engine's outside world for the tests: a simulated path with a fake clock, socket
// and name lookup.
#include "EventLog.h"
#include "Fakes.h"
#include "PacketBuilder.h"
#include "icmp/AxIcmp.h"
#include "platform/EngineClock.h"
#include "platform/NameLookup.h"

#include <QtTest>

namespace packets {

// A path of nodes as the test writes it, one token a node: "10" a router answering after 10 ms
// ("10?" one whose name never comes), "-" a silent one, "50!" the target's echo reply after
// 50 ms, "50x" the target refusing (net unreachable), "20p" a node finding a parameter problem.
// The last node answers every probe that gets that far; node n is 198.18.n.1 (2001:db8:n::1),
// the last one the target. The clock is the test's: each
// alarm and each answer happens at its time, in time order, without waiting.
struct World final : EngineClock, IcmpSocketFactory, NameLookup {
    static constexpr qint64 kNever = std::numeric_limits<qint64>::max();
    struct Node { QString how; double ms; };
    struct Alarm final : EngineAlarm {
        Alarm(World& world, std::function<void()> f) : w(world), fire(std::move(f)) { w.alarms.push_back(this); }
        ~Alarm() override { std::erase(w.alarms, this); }
        void setDeadline(qint64 ns) override { due = ns; }
        void cancel() override { due = kNever; }
        World& w;
        std::function<void()> fire;
        qint64 due = kNever;
    };
    struct Socket final : IcmpSocket {
        explicit Socket(World& world) : w(world) { ++w.openSockets; w.socket = this; }
        ~Socket() override { --w.openSockets; w.socket = w.socket == this ? nullptr : w.socket; }
        SocketType socketType() const override { return w.datagram ? SocketType::Datagram : SocketType::Raw; }
        int send(const QHostAddress& to, int ttl, const QByteArray& probe) override
        {
            w.sent.push_back({ttl, w.now});
            if (!w.sendError) {
                w.answer(to, ttl, probe);
                if (w.extra)
                    w.extra(to, probe);
            }
            return w.sendError;
        }
        std::optional<IcmpReceived> receive() override
        {
            return w.inbox.empty() ? std::nullopt : std::optional(w.inbox.takeFirst());
        }
        World& w;
    };

    explicit World(const QString& path, bool v6 = false, bool datagram_ = false)
        : datagram(datagram_), v6(v6), control(std::in_place, interfaces, IcmpAdapters{this, this, this})
    {
        for (const QString& token : path.split(u' ', Qt::SkipEmptyParts)) {
            const QString how = token.back().isDigit() ? QString() : token.right(1);
            nodes.push_back({how, (how.isEmpty() ? token : token.chopped(1)).toDouble()});
        }
        logEvents(*control, [this, t0 = now](const QString& event) {
            events << event;
            atMs.push_back((now - t0) / 1e6);
        }, [this](int) { return cancelAtMs >= 0 && (now - kStart) / 1e6 >= cancelAtMs; });
    }
    QHostAddress node(int n) const
    {
        return v6 ? QHostAddress(QStringLiteral("2001:db8:%1::1").arg(n)) : QHostAddress(addr(198, 18, n, 1));
    }

    // What node `ttl` (the last for farther probes) sends back, `ms` later.
    void answer(const QHostAddress& to, int ttl, const QByteArray& probe)
    {
        const int n = ttl < 0 || ttl >= int(nodes.size()) ? int(nodes.size()) : ttl;
        const Node& at = nodes[size_t(n - 1)];
        if (at.how == "-")
            return;
        const bool last = n == int(nodes.size());
        const quint8 type = at.how == "p" ? (v6 ? icmp::kV6ParameterProblem : icmp::kParameterProblem)
            : !last                      ? (v6 ? icmp::kV6TimeExceeded : icmp::kTimeExceeded)
            : at.how == "x"              ? (v6 ? icmp::kV6DestinationUnreachable : icmp::kDestinationUnreachable)
                                         : 0;
        arrive(at.ms, from(type == 0 ? echoReplyTo(probe) : QByteArray(), node(n), to, type, probe));
    }
    // How `who` reaches our socket: an echo reply (`reply` set) or an error of `type` and `code`
    // about `probe` to `to`, with `word` in its second word (an MTU).
    IcmpReceived from(const QByteArray& reply, const QHostAddress& who, const QHostAddress& to, quint8 type,
                      const QByteArray& probe, quint8 code = 0, quint32 word = 0) const
    {
        IcmpReceived r;
        r.source = who;
        r.ttl = 61;
        if (datagram && reply.isEmpty()) {   // the kernel queues errors: our probe, the quoted destination
            r.bytes = probe;
            r.source = to;
            r.queuedError = true;
            r.errorType = type;
            r.errorCode = code;
            r.errorInfo = word;
            r.offender = who;
        } else if (v6)
            r.bytes = reply.isEmpty() ? icmpv6Error(type, probe, to, code, word) : reply;
        else if (datagram)
            r.bytes = reply;
        else
            r.bytes = ipPacket(who.toIPv4Address(), kHost, 61,
                               reply.isEmpty() ? icmpError(type, probe, to.toIPv4Address(), 0, code, word) : reply);
        return r;
    }
    void arrive(double ms, IcmpReceived r)
    {
        r.kernelTimeNs = realtimeNs() + qint64(ms * 1e6);
        arrivals.insert(std::ranges::upper_bound(arrivals, *r.kernelTimeNs, {}, &IcmpReceived::kernelTimeNs), r);
    }

    qint64 monotonicNs() const override { return now; }
    qint64 realtimeNs() const override { return now + 1'700'000'000'000'000'000; }
    std::unique_ptr<EngineAlarm> createAlarm(std::function<void()> f) override { return std::make_unique<Alarm>(*this, f); }
    IcmpSocketOpen open(QAbstractSocket::NetworkLayerProtocol) override { return {std::make_unique<Socket>(*this)}; }
    void addressOf(const QString&, QObject*, std::function<void(std::optional<QHostAddress>)>) override {}
    void nameOf(const QHostAddress& address, QObject* context, std::function<void(QString)> done) override
    {
        const auto n = std::ranges::find_if(nodes, [&](const Node& x) { return node(int(&x - nodes.data()) + 1) == address; });
        if (n != nodes.end() && n->how == "?")
            return;
        const QString name = address == node(int(nodes.size())) ? "target.test" : "";
        QMetaObject::invokeMethod(context, [done, name] { done(name); }, Qt::QueuedConnection);
    }

    // Lets `ms` pass: alarms fire and answers arrive at their times, in time order.
    void advanceMs(double ms)
    {
        const qint64 end = now + qint64(ms * 1e6);
        for (int guard = 0; guard < 100000; ++guard) {
            QCoreApplication::processEvents();
            const auto alarm = std::ranges::min_element(alarms, {}, &Alarm::due);
            const qint64 alarmAt = alarm == alarms.end() ? kNever : (*alarm)->due;
            const qint64 arrivalAt = arrivals.empty() ? kNever : *arrivals.front().kernelTimeNs - realtimeNs() + now;
            if (std::min(alarmAt, arrivalAt) > end)
                break;
            now = std::max(now, std::min(alarmAt, arrivalAt));
            if (arrivalAt <= alarmAt) {
                inbox << arrivals.front();
                arrivals.erase(arrivals.begin());
                socket ? emit socket->readyRead() : inbox.clear();
            } else {
                (*alarm)->cancel();
                (*alarm)->fire();
            }
        }
        now = end;
        QCoreApplication::processEvents();
    }
    // Starts a run to the last node and lets `ms` pass.
    void run(bool trace, double ms = 10000)
    {
        control->setHostAddress(node(int(nodes.size())).toString());   // an address: no forward lookup
        trace ? control->Trace() : control->Ping();
        advanceMs(ms);
    }
    double completedMs() const { return events.endsWith("C") ? atMs.back() : -1; }

    static constexpr qint64 kStart = 1000'000'000'000;
    qint64 now = kStart;
    bool datagram, v6;
    std::vector<Node> nodes;
    std::vector<Alarm*> alarms;
    std::vector<IcmpReceived> arrivals;
    QList<IcmpReceived> inbox;
    int sendError = 0;
    Socket* socket = nullptr;
    int openSockets = 0;
    struct Sent { int ttl; qint64 at; };
    std::vector<Sent> sent;
    double cancelAtMs = -1;
    // More answers to each probe, as the test makes them up.
    std::function<void(const QHostAddress& to, const QByteArray& probe)> extra;
    QStringList events;
    std::vector<double> atMs;
    FakeInterfaceList interfaces;
    std::optional<AxIcmp> control;
};

inline QString hop(int n, const QString& ip, const QString& trip, const QString& what, const QString& name = {})
{
    return QStringLiteral("T|%1|%2|%3|%4|%5").arg(n).arg(ip, name, trip, what);
}
inline QString router(int n, const QString& trip) { return hop(n, QStringLiteral("198.18.%1.1").arg(n), trip, "TTL expired in transit"); }

} // namespace packets
