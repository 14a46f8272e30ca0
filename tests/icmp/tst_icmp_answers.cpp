// Which answers the ICMP engine takes for its probes' and which it only counts: "too big"
// errors, parameter problems, the unspecified and multicast targets, each reason to ignore.
#include "SimulatedPath.h"

using namespace packets;
using icmp::IgnoredReason;

namespace {

using Make = std::function<IcmpReceived(World& w, const QHostAddress& to, const QByteArray& probe)>;

// An IPv4 packet from `who` to us, as a raw socket reads it.
IcmpReceived raw(const QHostAddress& who, const QByteArray& icmpMessage)
{
    IcmpReceived r;
    r.source = who;
    r.bytes = ipPacket(who.toIPv4Address(), kHost, 61, icmpMessage);
    return r;
}

QStringList times(int n, const QString& row) { return QStringList(n, row) << "C"; }

} // namespace

class TestIcmpAnswers : public QObject {
    Q_OBJECT
private slots:
    // Fault caught: a "too big" claiming an MTU the probe fits in (a forgery) shown instead of the
    // reply that follows it, or ending a trace at hop 1; a real one (MTU under the probe's 60 or
    // 80 bytes, or 0 from an old router) not shown as the probe's answer.
    void tooBig()
    {
        struct Case { bool v6, datagram, trace; quint32 mtu; QStringList rows; };
        const QStringList v4Trace{router(1, "10.0 ms"), router(2, "20.0 ms"),
                                  hop(3, "198.18.3.1", "30.0 ms", "Success", "target.test"), "C"};
        const Case cases[] = {
            {false, false, false, 1500, times(4, "P|198.18.1.1|target.test|0.50 ms|32|61")},
            {false, true, false, 60, times(4, "P|198.18.1.1|target.test|0.50 ms|32|61")},   // exactly the probe
            {true, false, false, 1280, times(4, "P|2001:db8:1::1|target.test|0.50 ms|32|61")},
            {true, true, false, 80, times(4, "P|2001:db8:1::1|target.test|0.50 ms|32|61")},
            {false, false, false, 59, times(4, "E|Fragmentation needed and DF set (from 198.18.3.1)")},
            {false, true, false, 0, times(4, "E|Fragmentation needed and DF set (from 198.18.3.1)")},
            {true, true, false, 79, times(4, "E|Packet too big (from 2001:db8:3::1)")},
            {false, false, true, 1500, v4Trace},
            {false, true, true, 1500, v4Trace},
            {false, true, true, 0, {hop(1, "198.18.1.1", "1.00 ms", "Fragmentation needed and DF set"), "C"}},
            {true, false, true, 40, {hop(1, "2001:db8:1::1", "1.00 ms", "Packet too big"), "C"}}};
        for (const auto& [v6, datagram, trace, mtu, rows] : cases) {
            World w(trace ? "10 20 30!" : "-", v6, datagram);
            const quint8 type = v6 ? icmp::kV6PacketTooBig : icmp::kDestinationUnreachable;
            const quint8 code = v6 ? 0 : icmp::kFragmentationNeeded;
            w.extra = [&, mtu](const QHostAddress& to, const QByteArray& probe) {
                w.arrive(trace ? 1 : 0.1, w.from({}, w.node(trace ? 1 : 3), to, type, probe, code, mtu));
                if (!trace)
                    w.arrive(0.5, w.from(echoReplyTo(probe), to, to, 0, probe));
            };
            w.run(trace);
            QCOMPARE(w.events, rows);
            const bool fits = mtu >= (v6 ? 80u : 60u);
            QCOMPARE(w.control->ignoredPackets()[IgnoredReason::MtuFits], fits ? int(w.sent.size()) : 0);
            if (!trace)   // after a real one, the reply comes too late (the last one after the run's end)
                QCOMPARE(w.control->ignoredPackets()[IgnoredReason::Late], fits ? 0 : 3);
        }
    }

    // Fault caught: a parameter problem from a router or the target taken for a silent hop.
    void parameterProblem()
    {
        for (const auto& [v6, datagram] : {std::pair(false, false), {false, true}, {true, false}, {true, true}}) {
            World w("10 20p 30!", v6, datagram);
            w.run(true);
            QCOMPARE(w.events, (QStringList{hop(1, w.node(1).toString(), "10.0 ms", "TTL expired in transit"),
                                            hop(2, w.node(2).toString(), "20.0 ms", "Parameter problem"), "C"}));
        }
    }

    // Fault caught: 0.0.0.0 or :: (the kernel sends to this host, which answers from its loopback
    // address) timing out; a multicast group's members refused; a stranger, or the loopback
    // address for another target, taken for the target.
    void unspecifiedAndMulticastTargets()
    {
        const QStringList lost = times(4, "E|Request timed out");
        const std::tuple<const char*, const char*, bool, QStringList> cases[] = {
            {"0.0.0.0", "127.0.0.1", false, times(4, "P|127.0.0.1||0.25 ms|32|61")},
            {"0.0.0.0", "127.0.0.1", true, times(4, "P|127.0.0.1||0.25 ms|32|61")},
            {"::", "::1", true, times(4, "P|::1||0.25 ms|32|61")},
            {"::", "::1", false, times(4, "P|::1||0.25 ms|32|61")},
            {"ff02::1", "2001:db8:7::7", true, times(4, "P|2001:db8:7::7||0.25 ms|32|61")},
            {"0.0.0.0", "198.18.9.9", false, lost},
            {"::", "2001:db8:9::9", true, lost},
            {"198.18.1.1", "127.0.0.1", false, lost}};
        for (const auto& [target, responder, datagram, rows] : cases) {
            const QHostAddress from(responder);
            World w("-", from.protocol() == QAbstractSocket::IPv6Protocol, datagram);
            w.extra = [&](const QHostAddress& to, const QByteArray& probe) {
                w.arrive(0.25, w.from(echoReplyTo(probe), from, to, 0, probe));
            };
            w.control->setHostAddress(target);
            w.control->Ping();
            w.advanceMs(10000);
            QCOMPARE(w.events, rows);
        }
    }

    // Fault caught: a packet ignored without being counted, or counted under another reason.
    void ignoredCounts()
    {
        const QHostAddress target(addr(198, 18, 1, 1)), stranger(addr(198, 18, 9, 9));
        const auto reply = [](const QByteArray& probe) { return echoReplyTo(probe); };
        const std::pair<IgnoredReason, Make> cases[] = {
            {IgnoredReason::Truncated, [&](World&, auto&, auto& probe) { auto r = raw(target, reply(probe)); r.truncated = true; return r; }},
            {IgnoredReason::BadIpHeader, [&](World&, auto&, auto& probe) { auto r = raw(target, reply(probe)); r.bytes = patched(r.bytes, 6, 0x20); return r; }},
            {IgnoredReason::NotIcmp, [&](World&, auto&, auto& probe) { auto r = raw(target, reply(probe)); r.bytes = patched(r.bytes, 9, 17); return r; }},
            {IgnoredReason::BadChecksum, [&](World&, auto&, auto& probe) { return raw(target, patched(reply(probe), 9, 0)); }},
            {IgnoredReason::NotAnAnswer, [&](World&, auto&, auto& probe) { return raw(target, probe); }},
            {IgnoredReason::NotAnEchoQuote, [&](World&, auto&, auto& probe) { return raw(QHostAddress(kRouter), icmpError(11, reply(probe), target.toIPv4Address())); }},
            {IgnoredReason::UnknownProbe, [&](World&, auto&, auto& probe) { return raw(target, reply(patched(probe, 4, quint8(~probe[4])))); }},
            {IgnoredReason::WrongSource, [&](World&, auto&, auto& probe) { return raw(stranger, reply(probe)); }},
            {IgnoredReason::Late, [&](World& w, auto& to, auto& probe) { w.arrive(0.1, raw(to, reply(probe))); return raw(to, reply(probe)); }},
            {IgnoredReason::MtuFits, [&](World&, auto& to, auto& probe) { return raw(QHostAddress(kRouter), icmpError(3, probe, to.toIPv4Address(), 0, 4, 1500)); }},
            {IgnoredReason::NotAHop, [&](World&, auto& to, auto& probe) { return raw(QHostAddress(kRouter), icmpError(11, probe, to.toIPv4Address(), 0, 1)); }}};
        for (const auto& [reason, make] : cases) {
            World w("-");
            w.extra = [&](const QHostAddress& to, const QByteArray& probe) { w.arrive(0.2, make(w, to, probe)); };
            w.run(reason == IgnoredReason::NotAHop);
            const icmp::IgnoredCounts counts = w.control->ignoredPackets();
            // Each probe got one such packet; the last duplicate comes after the run's end.
            const int n = int(w.sent.size()) - (reason == IgnoredReason::Late);
            QVERIFY2(counts[reason] == n && counts.total() == n, qPrintable(QString::number(int(reason))));
        }
    }
};

QTEST_MAIN(TestIcmpAnswers)
#include "tst_icmp_answers.moc"
