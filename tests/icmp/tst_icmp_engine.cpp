// The ICMP engine on a simulated path, with a fake clock: which rows a run raises, in which
// order and when.
#include "SimulatedPath.h"

using namespace packets;

class TestIcmpEngine : public QObject {
    Q_OBJECT
private slots:
    // Fault caught: a silent hop costing one wait per probe, not one adaptive wait; rows out of hop
    // order; a trace not ending at the target, an unreachable answer or hop 30; an answer after its
    // two seconds shown; Cancel during a silent hop not taking effect at the next report.
    void trace()
    {
        const QString target = "198.18.5.1";
        const QStringList toHop4{router(1, "10.0 ms"), router(2, "20.0 ms"), silentHops(3).first(), router(4, "40.0 ms")};
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
            w.extra = [&](const QHostAddress& to, const QByteArray& probe) {
                w.arrive(5, w.from(echoReplyTo(probe), stranger, to, 0, probe));
                w.arrive(5, w.from({}, w.node(1), elsewhere, exceeded, probe));
                w.arrive(5, w.from({}, w.node(1), to, exceeded, probe, 1));   // reassembly time exceeded
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
};

QTEST_MAIN(TestIcmpEngine)
#include "tst_icmp_engine.moc"
