// The ICMP engine on a simulated path with a fake clock: which rows a run raises, in which order
// and when; which answers it takes for its probes' and which it only counts.
#include "SimulatedPath.h"

using namespace packets;
using icmp::IgnoredReason;

namespace {

using Extra = std::function<void(World& w, const QHostAddress& to, const QByteArray& probe)>;

// A run: trace or ping, the path (see World), IPv6 or not, the datagram socket or not, more answers
// to each probe, the target when not the last node, Cancel's time (-1: none), the rows,
// SequenceComplete by this time, and when given the events' times.
struct Case {
    bool trace;
    QString path;
    bool v6 = false, datagram = false;
    Extra extra = {};
    QString target = {};
    double cancelAtMs = -1;
    QStringList rows = {};
    double doneByMs = 10000;
    std::vector<double> atMs = {};
};

QStringList times(int n, const QString& row) { return QStringList(n, row) << "C"; }

// An echo reply to each probe from `who`, 0.25 ms later.
Extra echoFrom(const char* who)
{
    return [who = QHostAddress(who)](World& w, auto& to, auto& probe) { w.arrive(0.25, w.from(echoReplyTo(probe), who, to, 0, probe)); };
}

// A "too big" claiming `mtu` about each probe: in a trace from hop 1 after 1 ms; in a ping from
// node 3 after 0.1 ms, the echo reply following at 0.5 ms.
Extra tooBig(bool trace, quint32 mtu)
{
    return [=](World& w, const QHostAddress& to, const QByteArray& probe) {
        const quint8 type = w.v6 ? icmp::kV6PacketTooBig : icmp::kDestinationUnreachable;
        w.arrive(trace ? 1 : 0.1, w.from({}, w.node(trace ? 1 : 3), to, type, probe, w.v6 ? 0 : icmp::kFragmentationNeeded, mtu));
        if (!trace)
            w.arrive(0.5, w.from(echoReplyTo(probe), to, to, 0, probe));
    };
}

// Strangers' answers to each probe: an echo reply from another address, an error quoting another
// destination, a reassembly time exceeded (no router's error).
void strangers(World& w, const QHostAddress& to, const QByteArray& probe)
{
    const QHostAddress stranger(w.v6 ? "2001:db8:9::9" : "198.18.9.9"), elsewhere(w.v6 ? "2001:db8:65::65" : "198.19.65.65");
    const quint8 exceeded = w.v6 ? icmp::kV6TimeExceeded : icmp::kTimeExceeded;
    w.arrive(5, w.from(echoReplyTo(probe), stranger, to, 0, probe));
    w.arrive(5, w.from({}, w.node(1), elsewhere, exceeded, probe));
    w.arrive(5, w.from({}, w.node(1), to, exceeded, probe, 1));
}

// A silent target whose echoes the test answers: the first after an answer from elsewhere (node 3),
// the third after its two seconds (lost), the fourth with a net unreachable from node 3.
void paced(World& w, const QHostAddress& to, const QByteArray& probe)
{
    const QByteArray reply = echoReplyTo(probe);
    if (w.sent.size() == 1) {
        w.arrive(0.1, w.from(reply, w.node(3), to, 0, probe));
        w.arrive(0.25, w.from(reply, to, to, 0, probe));
    } else if (w.sent.size() == 3) {
        w.arrive(2500, w.from(reply, to, to, 0, probe));
    } else if (w.sent.size() == 4) {
        w.arrive(0.75, w.from({}, w.node(3), to, w.v6 ? icmp::kV6DestinationUnreachable : icmp::kDestinationUnreachable, probe));
    }
}

// An IPv4 packet from `who` to us, as a raw socket reads it.
IcmpReceived raw(const QHostAddress& who, const QByteArray& message) { return {.bytes = ipPacket(who.toIPv4Address(), kHost, 61, message), .source = who}; }

} // namespace

class TestIcmpEngine : public QObject {
    Q_OBJECT
private slots:
    void runs()
    {
        const QString target = "198.18.5.1", v6hop1 = "2001:db8:1::1";
        const QStringList toHop4{router(1, "10.0 ms"), router(2, "20.0 ms"), silentHops(3).first(), router(4, "40.0 ms")};
        const QStringList hole = QStringList{router(1, "10.0 ms")} + silentHops(2) << "C";
        const QStringList hole6 = QStringList{hop(1, v6hop1, "10.0 ms", "TTL expired in transit")} + silentHops(2) << "C";
        const QStringList problem{router(1, "10.0 ms"), hop(2, "198.18.2.1", "20.0 ms", "Parameter problem"), "C"};
        const QStringList problem6{hop(1, v6hop1, "10.0 ms", "TTL expired in transit"), hop(2, "2001:db8:2::1", "20.0 ms", "Parameter problem"), "C"};
        const QStringList lost = times(4, "E|Request timed out");
        const Case cases[] = {
            // Fault caught: a silent hop costing one wait per probe, not one adaptive wait; rows out of hop
            // order; a trace not ending at the target, an unreachable answer or hop 30; an answer after its
            // two seconds shown; Cancel during a silent hop not taking effect at the next report.
            {.trace = true, .path = "10 20 - 40 50!", .rows = toHop4 + QStringList{hop(5, target, "50.0 ms", "Success", "target.test"), "C"}, .doneByMs = 321},
            {.trace = true, .path = "10 20 - 40 50x", .datagram = true,   // net unreachable behind the silent hop
             .rows = toHop4 + QStringList{hop(5, target, "50.0 ms", "Destination net unreachable", "target.test"), "C"}, .doneByMs = 321},
            {.trace = true, .path = "30 20 10 5!", .rows = {router(1, "30.0 ms"), router(2, "20.0 ms"), router(3, "10.0 ms"),   // farther hops first
                                                             hop(4, "198.18.4.1", "5.00 ms", "Success", "target.test"), "C"}, .doneByMs = 31},
            // Hop 1 is reported only at 2.5 s, for want of its name: hop 2's answer at 2.1 s is too late all the same.
            {.trace = true, .path = "1500? 2100!", .rows = QStringList{router(1, "1500 ms")} + silentHops(2) << "C", .doneByMs = 2501},
            {.trace = true, .path = "10 20 - 40 50!", .cancelAtMs = 100, .rows = toHop4.mid(0, 3) << "C", .doneByMs = 321},
            // Fault caught: a parameter problem from a router or the target taken for a silent hop.
            {.trace = true, .path = "10 20p 30!", .rows = problem}, {.trace = true, .path = "10 20p 30!", .v6 = true, .datagram = true, .rows = problem6},
            // Fault caught: strangers' answers taken for the program's own: an echo reply from another address
            // ending the trace, an error quoting another destination or no router's error becoming a hop.
            {.trace = true, .path = "10 -", .extra = strangers, .rows = hole, .doneByMs = 2001},   // also a black hole
            {.trace = true, .path = "10 -", .v6 = true, .datagram = true, .extra = strangers, .rows = hole6},
            // Fault caught: a "too big" claiming an MTU the probe fits in (a forgery) shown instead of the
            // reply that follows it, or ending a trace at hop 1; a real one (MTU under the probe's 60 or
            // 80 bytes, or 0 from an old router) not shown as the probe's answer.
            {.trace = false, .path = "-", .datagram = true, .extra = tooBig(false, 60), .rows = times(4, "P|198.18.1.1|target.test|0.50 ms|32|61")},
            {.trace = false, .path = "-", .v6 = true, .datagram = true, .extra = tooBig(false, 80), .rows = times(4, "P|2001:db8:1::1|target.test|0.50 ms|32|61")},
            {.trace = false, .path = "-", .extra = tooBig(false, 59), .rows = times(4, "E|Fragmentation needed and DF set (from 198.18.3.1)")},
            {.trace = false, .path = "-", .v6 = true, .datagram = true, .extra = tooBig(false, 79), .rows = times(4, "E|Packet too big (from 2001:db8:3::1)")},
            {.trace = true, .path = "10 20 30!", .datagram = true, .extra = tooBig(true, 1500),
             .rows = {router(1, "10.0 ms"), router(2, "20.0 ms"), hop(3, "198.18.3.1", "30.0 ms", "Success", "target.test"), "C"}},
            {.trace = true, .path = "10 20 30!", .datagram = true, .extra = tooBig(true, 0), .rows = {hop(1, "198.18.1.1", "1.00 ms", "Fragmentation needed and DF set"), "C"}},
            {.trace = true, .path = "10 20 30!", .v6 = true, .extra = tooBig(true, 40), .rows = {hop(1, v6hop1, "1.00 ms", "Packet too big"), "C"}},
            // Fault caught: 0.0.0.0 or :: (the kernel sends to this host, which answers from its loopback
            // address) timing out; a multicast group's members refused; a stranger, or the loopback
            // address for another target, taken for the target.
            {.trace = false, .path = "-", .extra = echoFrom("127.0.0.1"), .target = "0.0.0.0", .rows = times(4, "P|127.0.0.1||0.25 ms|32|61")},
            {.trace = false, .path = "-", .v6 = true, .datagram = true, .extra = echoFrom("::1"), .target = "::", .rows = times(4, "P|::1||0.25 ms|32|61")},
            {.trace = false, .path = "-", .v6 = true, .datagram = true, .extra = echoFrom("2001:db8:7::7"), .target = "ff02::1",
             .rows = times(4, "P|2001:db8:7::7||0.25 ms|32|61")},
            {.trace = false, .path = "-", .extra = echoFrom("198.18.9.9"), .target = "0.0.0.0", .rows = lost},
            {.trace = false, .path = "-", .extra = echoFrom("127.0.0.1"), .target = "198.18.1.1", .rows = lost},
            // Fault caught: a ping at the wrong pace, a reply mis-timed (not the kernel's stamp), mislabelled,
            // from elsewhere or after its two seconds listed; rows out of arrival order; a socket kept.
            {.trace = false, .path = "-", .extra = paced, .rows = {"P|198.18.1.1|target.test|0.25 ms|32|61", "E|Request timed out",
             "E|Destination net unreachable (from 198.18.3.1)", "E|Request timed out", "C"}, .atMs = {0.25, 3000, 3000.75, 4000, 4000}}};
        for (const Case& c : cases) {
            World w(c.path, c.v6, c.datagram);
            w.extra = c.extra;
            w.cancelAtMs = c.cancelAtMs;
            w.run(c.trace, 10000, c.target);
            QCOMPARE(w.events, c.rows);
            QVERIFY2(w.atMs.back() <= c.doneByMs, qPrintable(QString::number(w.atMs.back())));
            QVERIFY(c.atMs.empty() || w.atMs == c.atMs);
            // A silent hop got its three probes, within its one wait; a ping its four echoes.
            for (const QString& row : std::as_const(w.events).filter("|*|"))
                QCOMPARE(std::ranges::count(w.sent, row.section(u'|', 1, 1).toInt()), 3);
            QVERIFY(c.trace || w.sent.size() == 4);
            QCOMPARE(w.openSockets, 0);
        }
    }

    // Fault caught: a packet ignored without being counted, or counted under another reason.
    void ignoredCounts()
    {
        const QHostAddress target(addr(198, 18, 1, 1)), stranger(addr(198, 18, 9, 9));
        using Make = std::function<IcmpReceived(World& w, const QHostAddress& to, const QByteArray& probe)>;
        const std::pair<IgnoredReason, Make> cases[] = {
            {IgnoredReason::Truncated, [&](World&, auto&, auto& probe) { auto r = raw(target, echoReplyTo(probe)); r.truncated = true; return r; }},
            {IgnoredReason::BadIpHeader, [&](World&, auto&, auto& probe) { auto r = raw(target, echoReplyTo(probe)); r.bytes = patched(r.bytes, 6, 0x20); return r; }},
            {IgnoredReason::NotIcmp, [&](World&, auto&, auto& probe) { auto r = raw(target, echoReplyTo(probe)); r.bytes = patched(r.bytes, 9, 17); return r; }},
            {IgnoredReason::BadChecksum, [&](World&, auto&, auto& probe) { return raw(target, patched(echoReplyTo(probe), 9, 0)); }},
            {IgnoredReason::NotAnAnswer, [&](World&, auto&, auto& probe) { return raw(target, probe); }},
            {IgnoredReason::NotAnEchoQuote, [&](World&, auto&, auto& probe) { return raw(QHostAddress(kRouter), icmpError(11, echoReplyTo(probe), target.toIPv4Address())); }},
            {IgnoredReason::UnknownProbe, [&](World&, auto&, auto& probe) { return raw(target, echoReplyTo(patched(probe, 4, quint8(~probe[4])))); }},
            {IgnoredReason::WrongSource, [&](World&, auto&, auto& probe) { return raw(stranger, echoReplyTo(probe)); }},
            {IgnoredReason::Late, [&](World& w, auto& to, auto& probe) { w.arrive(0.1, raw(to, echoReplyTo(probe))); return raw(to, echoReplyTo(probe)); }},
            {IgnoredReason::MtuFits, [&](World&, auto& to, auto& probe) { return raw(QHostAddress(kRouter), icmpError(3, probe, to.toIPv4Address(), 0, 4, 1500)); }},
            {IgnoredReason::NotAHop, [&](World&, auto& to, auto& probe) { return raw(QHostAddress(kRouter), icmpError(11, probe, to.toIPv4Address(), 0, 1)); }}};
        for (const auto& [reason, make] : cases) {
            World w("-");
            w.extra = [&](World&, const QHostAddress& to, const QByteArray& probe) { w.arrive(0.2, make(w, to, probe)); };
            w.run(reason == IgnoredReason::NotAHop);
            const icmp::IgnoredCounts counts = w.control->ignoredPackets();
            // Each probe got one such packet; the last duplicate comes after the run's end.
            const int n = int(w.sent.size()) - (reason == IgnoredReason::Late);
            QVERIFY2(counts[reason] == n && counts.total() == n, qPrintable(QString::number(int(reason))));
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

    // Fault caught: the engine looking a checked host up again (a second time-out on a dead name
    // server; the simulated lookup never answers), or a link-local address losing its interface.
    // Without an address it looks the host up: tst_icmp_real's traces to names.
    void checkedAddressUsed()
    {
        for (const QString given : {"fe80::1%lo", "198.18.0.7"}) {
            World w("-");
            QStringList sentTo;
            w.extra = [&sentTo](World&, const QHostAddress& to, const QByteArray&) { sentTo << to.toString(); };
            w.control->setHostAddress(QStringLiteral("router.test"));
            w.control->setTargetAddress(QHostAddress(given));
            w.control->Ping();
            w.advanceMs(1);
            QCOMPARE(sentTo, QStringList{given});
        }
    }
};

QTEST_MAIN(TestIcmpEngine)
#include "tst_icmp_engine.moc"
