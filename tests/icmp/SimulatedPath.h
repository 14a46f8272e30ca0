#pragma once
// What the ICMP tests share: hand-built IPv4/ICMP and ICMPv6 packets; the ICMP control's events as
// one line each (E|description  P|ip|name|trip|size|ttl  T|hop|ip|name|trip|description  C); and the
// engine's outside world, a simulated path with a fake clock, socket and name lookup.
#include "Fakes.h"
#include "icmp/AxIcmp.h"
#include "icmp/IcmpControl.h"
#include "icmp/IcmpPacket.h"
#include "platform/EngineClock.h"
#include "platform/NameLookup.h"

#include <QtTest>

#include <functional>

// `cancel(hop)` is what TraceData for that hop hands back as its Cancel.
inline void logEvents(IcmpControl& c, std::function<void(const QString&)> log,
                      std::function<bool(int hop)> cancel = [](int) { return false; })
{
    using S = const QString&;
    QObject::connect(&c, &IcmpControl::Error, &c, [log](S description, Bool16) { log("E|" + description); });
    QObject::connect(&c, &IcmpControl::PingData, &c, [log](S ip, S name, S trip, S, qint32, qint16 size, quint8 ttl) {
        log(QStringLiteral("P|%1|%2|%3|%4|%5").arg(ip, name, trip).arg(size).arg(ttl));
    });
    const auto trace = [log, cancel](S ip, S name, S trip, S description, qint32, S hop, Bool16* stop) {
        log(QStringLiteral("T|%1|%2|%3|%4|%5").arg(hop, ip, name, trip, description));
        *stop = cancel(hop.toInt()) ? kTrue16 : kFalse16;
    };
    QObject::connect(&c, &IcmpControl::TraceData, &c, trace, Qt::DirectConnection);
    QObject::connect(&c, &IcmpControl::SequenceComplete, &c, [log] { log(QStringLiteral("C")); });
}

// The rows of a trace's silent hops from `first` to the last, hop 30.
inline QStringList silentHops(int first)
{
    QStringList rows;
    while (first <= 30)
        rows << QStringLiteral("T|%1|*||*|Request timed out").arg(first++);
    return rows;
}

namespace packets {

constexpr quint32 addr(quint32 a, quint32 b, quint32 c, quint32 d) { return a << 24 | b << 16 | c << 8 | d; }

constexpr quint32 kHost = addr(198, 18, 1, 2), kRouter = addr(198, 18, 3, 1);   // our host, a router

// `bytes` with the big-endian `value` of `width` bytes written at `at`.
inline QByteArray patched(QByteArray bytes, int at, quint32 value, int width = 1)
{
    for (int i = width - 1; i >= 0; --i, value >>= 8)
        bytes[at + i] = char(value);
    return bytes;
}
inline QByteArray withIcmpChecksum(const QByteArray& m)
{
    const QByteArray zeroed = patched(m, 2, 0, 2);
    return patched(zeroed, 2, icmp::internetChecksum(icmp::bytesOf(zeroed)), 2);
}

// An IPv4 header with `optionBytes` of NOP options, protocol ICMP, in front of `payload`.
inline QByteArray ipPacket(quint32 source, quint32 destination, int ttl, const QByteArray& payload, int optionBytes = 0)
{
    const int length = 20 + optionBytes;
    QByteArray p = patched(QByteArray(20, '\0') + QByteArray(optionBytes, '\1'), 0, quint32(0x40 | length / 4));
    p = patched(patched(p, 2, quint32(length + payload.size()), 2), 8, quint32(ttl << 8 | 1), 2);   // TTL, ICMP
    return patched(patched(p, 12, source, 4), 16, destination, 4) + payload;
}

// The answer to an echo request: the same identifier, sequence and data.
inline QByteArray echoReplyTo(const QByteArray& request)
{
    return request[0] == char(icmp::kV6EchoRequest) ? patched(request, 0, icmp::kV6EchoReply) : withIcmpChecksum(patched(request, 0, icmp::kEchoReply));
}

// The first 8 bytes of an ICMP error: type, code, no checksum yet, `word` (an MTU) last.
inline QByteArray errorHeader(quint8 type, quint8 code, quint32 word) { return patched(QByteArray(1, char(type)) + char(code) + QByteArray(6, '\0'), 4, word, 4); }

// An ICMP error quoting the header of our probe to `probeDestination` (with `quotedOptionBytes`
// of options) and its first 8 bytes, as routers do.
inline QByteArray icmpError(quint8 type, const QByteArray& probe, quint32 probeDestination, int quotedOptionBytes = 0, quint8 code = 0, quint32 word = 0)
{
    return withIcmpChecksum(errorHeader(type, code, word) + ipPacket(kHost, probeDestination, 1, probe, quotedOptionBytes).left(28 + quotedOptionBytes));
}

// An ICMPv6 error quoting the IPv6 header of a probe to `probeDestination` and its first 8 bytes.
inline QByteArray icmpv6Error(quint8 type, const QByteArray& probe, const QHostAddress& probeDestination, quint8 code = 0, quint32 word = 0)
{
    QByteArray header = patched(patched(QByteArray(40, '\0'), 0, 0x60), 4, quint32(probe.size() << 16 | 58 << 8 | 1), 4);
    const Q_IPV6ADDR to = probeDestination.toIPv6Address();
    header.replace(24, 16, QByteArray(reinterpret_cast<const char*>(to.c), 16));
    return errorHeader(type, code, word) + header + probe.left(8);
}


// A path of nodes as the test writes it, one token a node: "10" a router answering after 10 ms
// ("10?" one whose name never comes), "-" a silent one, "50!" the target's echo reply after
// 50 ms, "50x" the target refusing (net unreachable), "20p" a node finding a parameter problem.
// The last node answers every probe that gets that far; node n is 198.18.n.1 (2001:db8:n::1), the
// last one the target. The clock is the test's: alarms and answers happen in time order, without waiting.
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
        explicit Socket(World& world) : w(world) { ++w.openSockets, w.sockets.push_back(this); }
        ~Socket() override { --w.openSockets, std::erase(w.sockets, this); }
        SocketType socketType() const override { return w.datagram ? SocketType::Datagram : SocketType::Raw; }
        int send(const QHostAddress& to, int ttl, const QByteArray& probe) override
        {
            w.sent.push_back(ttl);
            w.sender = this;
            if (!w.sendError)
                w.answer(to, ttl, probe);
            if (!w.sendError && w.extra)
                w.extra(w, to, probe);
            return w.sendError;
        }
        std::optional<IcmpReceived> receive() override { return inbox.empty() ? std::nullopt : std::optional(inbox.takeFirst()); }
        World& w;
        QList<IcmpReceived> inbox;
    };

    explicit World(const QString& path, bool v6 = false, bool datagram_ = false)
        : datagram(datagram_), v6(v6), control(std::in_place, interfaces, IcmpAdapters{this, this, this})
    {
        for (const QString& token : path.split(u' ', Qt::SkipEmptyParts)) {
            const QString how = token.back().isDigit() ? QString() : token.right(1);
            nodes.push_back({how, (how.isEmpty() ? token : token.chopped(1)).toDouble()});
        }
        logEvents(*control, [this](const QString& event) { events << event, atMs.push_back((now - kStart) / 1e6); },
                  [this](int) { return cancelAtMs >= 0 && (now - kStart) / 1e6 >= cancelAtMs; });
    }
    QHostAddress node(int n) const { return v6 ? QHostAddress(QStringLiteral("2001:db8:%1::1").arg(n)) : QHostAddress(addr(198, 18, n, 1)); }

    // What node `ttl` (the last for farther probes) sends back, `ms` later.
    void answer(const QHostAddress& to, int ttl, const QByteArray& probe)
    {
        const int n = ttl < 0 || ttl >= int(nodes.size()) ? int(nodes.size()) : ttl;
        const Node& at = nodes[size_t(n - 1)];
        if (at.how == "-" || (drops && drops(n)))
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
        if (datagram && reply.isEmpty())   // the kernel queues errors: our probe, the quoted destination
            return {.bytes = probe, .source = to, .ttl = 61, .queuedError = true, .errorType = type, .errorCode = code, .errorInfo = word, .offender = who};
        const QByteArray message = !reply.isEmpty() ? reply
            : v6 ? icmpv6Error(type, probe, to, code, word) : icmpError(type, probe, to.toIPv4Address(), 0, code, word);
        return {.bytes = v6 || datagram ? message : ipPacket(who.toIPv4Address(), kHost, 61, message), .source = who, .ttl = 61};
    }
    void arrive(double ms, IcmpReceived r)
    {
        r.kernelTimeNs = realtimeNs() + qint64(ms * 1e6);
        const auto at = std::ranges::upper_bound(arrivals, *r.kernelTimeNs, {}, &IcmpReceived::kernelTimeNs);
        owners.insert(owners.begin() + (at - arrivals.begin()), sender);
        arrivals.insert(at, r);
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
                deliver(arrivals.front(), owners.front());
                arrivals.erase(arrivals.begin());
                owners.erase(owners.begin());
            } else {
                (*alarm)->cancel();
                (*alarm)->fire();
            }
        }
        now = end;
        QCoreApplication::processEvents();
    }
    // A raw socket sees every ICMP packet of the host; the kernel gives a datagram socket only
    // the answers to its own probes.
    void deliver(const IcmpReceived& r, Socket* owner)
    {
        const std::vector<Socket*> open = sockets;
        for (Socket* s : open) {
            if ((datagram && s != owner) || std::ranges::find(sockets, s) == sockets.end())
                continue;
            s->inbox << r;
            emit s->readyRead();
        }
    }
    // Starts a run to `target` (an address: no forward lookup), by default the last node, and lets `ms` pass.
    void run(bool trace, double ms = 10000, const QString& target = {})
    {
        control->setHostAddress(target.isEmpty() ? node(int(nodes.size())).toString() : target);
        trace ? control->Trace() : control->Ping();
        advanceMs(ms);
    }

    static constexpr qint64 kStart = 1000'000'000'000;
    qint64 now = kStart;
    bool datagram, v6;
    std::vector<Node> nodes;
    std::vector<Alarm*> alarms;
    std::vector<IcmpReceived> arrivals;
    std::vector<Socket*> owners;   // the socket whose probe each arrival answers
    int sendError = 0, openSockets = 0;
    std::vector<Socket*> sockets;
    Socket* sender = nullptr;
    std::vector<int> sent;   // each probe's TTL
    double cancelAtMs = -1;
    // Whether node n stays silent this time, as the test decides.
    std::function<bool(int n)> drops;
    // More answers to each probe, as the test makes them up.
    std::function<void(World& w, const QHostAddress& to, const QByteArray& probe)> extra;
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
