// The ICMP engine on a simulated path, with a fake clock: which rows a run raises, in which
// order and when; its decoders on any bytes, and the checksum and texts the rows show.
#include "EventLog.h"
#include "Fakes.h"
#include "PacketBuilder.h"
#include "icmp/AxIcmp.h"
#include "icmp/IcmpText.h"
#include "platform/EngineClock.h"
#include "platform/NameLookup.h"

#include <QRandomGenerator>
#include <QtTest>

using namespace packets;

namespace {

// A path of nodes as the test writes it, one token a node: "10" a router answering after
// 10 ms ("10?" one whose name never comes), "-" a silent one, "50!" the target's echo reply after 50 ms, "50x" the target
// refusing (net unreachable). The last node answers every probe that gets that far; node n
// is 198.18.n.1 (2001:db8:n::1), the last one the target. The clock is the test's: each
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
        Kind kind() const override { return w.datagram ? Kind::Datagram : Kind::Raw; }
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
        const quint8 type = !last ? (v6 ? icmp::kV6TimeExceeded : icmp::kTimeExceeded)
            : at.how == "x"      ? (v6 ? icmp::kV6DestinationUnreachable : icmp::kDestinationUnreachable)
                                 : 0;
        arrive(at.ms, from(type == 0 ? echoReplyTo(probe) : QByteArray(), node(n), to, type, probe));
    }
    // How `who` reaches our socket: an echo reply (`reply` set) or an error of `type` about `probe` to `to`.
    IcmpReceived from(const QByteArray& reply, const QHostAddress& who, const QHostAddress& to, quint8 type,
                      const QByteArray& probe) const
    {
        IcmpReceived r;
        r.source = who;
        r.ttl = 61;
        if (datagram && reply.isEmpty()) {   // the kernel queues errors: our probe, the quoted destination
            r.bytes = probe;
            r.source = to;
            r.queuedError = true;
            r.errorType = type;
            r.offender = who;
        } else if (v6)
            r.bytes = reply.isEmpty() ? icmpv6Error(type, probe, to) : reply;
        else if (datagram)
            r.bytes = reply;
        else
            r.bytes = ipPacket(who.toIPv4Address(), kHost, 61,
                               reply.isEmpty() ? icmpError(type, probe, to.toIPv4Address()) : reply);
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

QString hop(int n, const QString& ip, const QString& trip, const QString& what, const QString& name = {})
{
    return QStringLiteral("T|%1|%2|%3|%4|%5").arg(n).arg(ip, name, trip, what);
}
QString router(int n, const QString& trip) { return hop(n, QStringLiteral("198.18.%1.1").arg(n), trip, "TTL expired in transit"); }
QString silent(int n) { return silentHops(n).first(); }

} // namespace

class TestIcmpEngine : public QObject {
    Q_OBJECT
private slots:
    // Fault caught: a silent hop costing one wait per probe, not one adaptive wait; rows out of hop
    // order; a trace not ending at the target, an unreachable answer or hop 30; an answer after its
    // two seconds shown; Cancel during a silent hop not taking effect at the next report.
    void trace()
    {
        const QString target = "198.18.5.1";
        const QStringList toHop4{router(1, "10.0 ms"), router(2, "20.0 ms"), silent(3), router(4, "40.0 ms")};
        // The path, the datagram socket or not, Cancel's time (-1: none), the rows, SequenceComplete by this time.
        const std::tuple<QString, bool, double, QStringList, double> cases[] = {
            {"10 20 - 40 50!", false, -1, toHop4 + QStringList{hop(5, target, "50.0 ms", "Success", "target.test"), "C"}, 321},
            {"10 20 - 40 50x", true, -1,   // net unreachable behind the silent hop
             toHop4 + QStringList{hop(5, target, "50.0 ms", "Destination net unreachable", "target.test"), "C"}, 321},
            {"30 20 10 5!", false, -1,   // farther hops answering first
             {router(1, "30.0 ms"), router(2, "20.0 ms"), router(3, "10.0 ms"),
              hop(4, "198.18.4.1", "5.00 ms", "Success", "target.test"), "C"}, 31},
            {"10 -", false, -1, QStringList{router(1, "10.0 ms")} + silentHops(2) + QStringList{"C"}, 2001},   // a black hole
            // Hop 1 is reported only at 2.5 s, for want of its name: hop 2's answer at 2.1 s is too late all the same.
            {"1500? 2100!", false, -1, QStringList{router(1, "1500 ms")} + silentHops(2) + QStringList{"C"}, 2501},
            {"10 20 - 40 50!", false, 100, toHop4.mid(0, 3) + QStringList{"C"}, 321}};   // Cancel during the silent hop
        for (const auto& [path, datagram, cancelAtMs, rows, doneByMs] : cases) {
            World w(path, false, datagram);
            w.cancelAtMs = cancelAtMs;
            w.run(true);
            QCOMPARE(w.events, rows);
            QVERIFY2(w.completedMs() >= 0 && w.completedMs() <= doneByMs, qPrintable(QString::number(w.completedMs())));
            // A silent hop got its three probes, within its one wait.
            for (const QString& row : std::as_const(w.events).filter("|*|"))
                QCOMPARE(std::ranges::count(w.sent, row.section(u'|', 1, 1).toInt(), &World::Sent::ttl), 3);
            QCOMPARE(w.openSockets, 0);
        }
    }

    // Fault caught: strangers' answers taken for the program's own: an echo reply from another address
    // ending the trace, an error quoting another destination or no router's error becoming a hop.
    void strangersAreNotHops()
    {
        for (const auto& [datagram, v6] : {std::pair(false, false), {true, false}, {false, true}, {true, true}}) {
            World w("10 -", v6, datagram);
            const QHostAddress stranger = v6 ? QHostAddress("2001:db8:9::9") : QHostAddress(addr(198, 18, 9, 9));
            const QHostAddress elsewhere = v6 ? QHostAddress("2001:db8:65::65") : QHostAddress(addr(198, 19, 65, 65));
            const quint8 exceeded = v6 ? icmp::kV6TimeExceeded : icmp::kTimeExceeded;
            const quint8 problem = v6 ? icmp::kV6ParameterProblem : icmp::kParameterProblem;
            w.extra = [&](const QHostAddress& to, const QByteArray& probe) {
                w.arrive(5, w.from(echoReplyTo(probe), stranger, to, 0, probe));
                w.arrive(5, w.from({}, w.node(1), elsewhere, exceeded, probe));
                w.arrive(5, w.from({}, w.node(1), to, problem, probe));
            };
            w.run(true);
            QCOMPARE(w.events, QStringList{hop(1, w.node(1).toString(), "10.0 ms", "TTL expired in transit")}
                                   + silentHops(2) + QStringList{"C"});
        }
    }

    // Fault caught: a ping at the wrong pace, a reply mis-timed (not the kernel's stamp), mislabelled,
    // from elsewhere or after its two seconds listed; rows out of arrival order; a socket kept.
    void ping()
    {
        for (const bool v6 : {false, true}) {
            // A silent target, whose echoes the test answers itself; IPv4 on a raw socket, IPv6 on a datagram one.
            World w("-", v6, v6);
            const QHostAddress router = w.node(3);
            int echo = 0;
            w.extra = [&](const QHostAddress& to, const QByteArray& probe) {
                const QByteArray reply = echoReplyTo(probe);
                if (++echo == 1) {   // answered, after an answer from elsewhere
                    w.arrive(0.1, w.from(reply, router, to, 0, probe));
                    w.arrive(0.25, w.from(reply, to, to, 0, probe));
                } else if (echo == 3) {   // answered after its two seconds: lost
                    w.arrive(2500, w.from(reply, to, to, 0, probe));
                } else if (echo == 4) {
                    w.arrive(0.75, w.from({}, router, to, v6 ? icmp::kV6DestinationUnreachable : icmp::kDestinationUnreachable,
                                          probe));
                }
            };
            w.run(false);
            const QString unreachable = "E|Destination net unreachable (from " + router.toString() + ")";
            QCOMPARE(w.events, (QStringList{"P|" + w.node(1).toString() + "|target.test|0.25 ms|32|61", "E|Request timed out",
                                            unreachable, "E|Request timed out", "C"}));
            QCOMPARE(w.atMs, (std::vector<double>{0.25, 3000, 3000.75, 4000, 4000}));
            QCOMPARE(w.sent.size(), size_t(4));
            QCOMPARE(w.openSockets, 0);
        }
    }

    // Fault caught: a replaced run still raising rows or SequenceComplete (the buttons would come back
    // mid-run), a failed send leaving a trace without an end, a destroyed control's socket or alarms kept.
    void secondRunAndSendFailure()
    {
        World w("1!");
        w.run(false, 2);
        w.run(true, 10000);
        QCOMPARE(w.events, (QStringList{"P|198.18.1.1|target.test|1.00 ms|32|61",
                                        hop(1, "198.18.1.1", "1.00 ms", "Success", "target.test"), "C"}));
        w.sendError = ENETUNREACH;
        w.run(true, 1);
        QCOMPARE(w.events.mid(3), (QStringList{"E|Transmit failed: no route to the destination network", "C"}));
        w.sendError = 0;
        w.run(false, 0);
        w.control.reset();
        QVERIFY(w.openSockets == 0 && w.alarms.empty());
    }

    // Fault caught: a decoder reading outside the bytes (the sanitizers' build stops there), or
    // calling an answer what they do not hold: every cut of real packets, with a byte changed.
    void anyBytes()
    {
        const QByteArray probe = icmp::encodeEchoRequest(icmp::Family::V4, 0x1234, 7, 32);
        const QByteArray probe6 = icmp::encodeEchoRequest(icmp::Family::V6, 0x1234, 7, 32);
        const QByteArray seeds[] = {ipPacket(addr(198, 18, 5, 2), kHost, 59, echoReplyTo(probe), 8), echoReplyTo(probe6),
                                    ipPacket(kRouter, kHost, 62, icmpError(11, probe, addr(198, 18, 5, 2), 12)),
                                    icmpv6Error(3, probe6, QHostAddress("2001:db8:5::2"))};
        QRandomGenerator random(7);
        for (int round = 0; round < 20000; ++round) {
            const QByteArray& seed = seeds[round % 4];
            std::vector<std::uint8_t> bytes(seed.begin(), seed.begin() + random.bounded(int(seed.size()) + 1));
            if (!bytes.empty() && round % 3)
                bytes[random.bounded(int(bytes.size()))] = std::uint8_t(random.bounded(256));
            const std::span<const std::uint8_t> b(bytes);   // exactly its size: a read past it is caught
            const icmp::Decoded message = icmp::decodeIcmpMessage(b);
            QVERIFY(message.verdict != icmp::Verdict::Answer || icmp::internetChecksum(b) == 0);
            for (const icmp::Decoded& d : {icmp::decodeIpPacket(b), message, icmp::decodeIcmpv6Message(b),
                                           icmp::decodeQueuedError(icmp::Family::V6, b, quint8(round), 0)})
                QVERIFY(d.verdict != icmp::Verdict::Answer || size_t(d.answer.dataSize) + icmp::kHeaderSize <= bytes.size());
        }
    }

    // Fault caught: a checksum routers reject (RFC 1071's example; an odd length); trip times with
    // the wrong precision or unit; an ICMP code without a name (routers send any) crashing.
    void checksumAndTexts()
    {
        QCOMPARE(icmp::internetChecksum(icmp::bytesOf(QByteArray::fromHex("0001f203f4f5f6f7"))), quint16(0x220d));
        QCOMPARE(icmp::internetChecksum(icmp::bytesOf(QByteArray::fromHex("01"))), quint16(0xfeff));
        const std::pair<qint64, const char*> trips[] = {{40000, "0.04 ms"}, {1234000, "1.23 ms"}, {12340000, "12.3 ms"},
            {148400000, "148 ms"}, {9996000, "10.0 ms"}, {99960000, "100 ms"}, {-5, "0.00 ms"}};
        for (const auto& [ns, text] : trips)
            QCOMPARE(icmp::tripTimeText(ns), QLatin1String(text));
        QCOMPARE(icmp::errorName(icmp::Family::V4, 3, 200), QStringLiteral("Destination unreachable (code 200)"));
        QCOMPARE(icmp::errorName(icmp::Family::V4, 42, 1), QStringLiteral("ICMP error type 42 code 1"));
        QCOMPARE(icmp::errorName(icmp::Family::V6, 1, 3), QStringLiteral("Destination host unreachable"));
        QCOMPARE(icmp::errorName(icmp::Family::V6, 3, 0), QStringLiteral("TTL expired in transit"));
    }
};

QTEST_MAIN(TestIcmpEngine)
#include "tst_icmp_engine.moc"
