// The monitor on the ICMP engine: rounds sent on a simulated path with a fake clock, what the
// model counts of them, and how the rounds live through pauses, a network that goes away and a
// socket that cannot be had.
#include "SimulatedPath.h"
#include "monitor/PathMonitor.h"

#include <cerrno>

using namespace packets;
using monitor::PathMonitor;

namespace {

// What happens at a time of the run (ms from its start).
struct Step {
    double atMs;
    std::function<void(World&, PathMonitor&)> act;
};

// The hops' loss in percent, then the rounds and the TTLs each round probes, as one line.
QString summary(const PathMonitor& m, const World& w)
{
    QStringList loss;
    for (int hop = 1; hop <= m.model().hopCount(); ++hop)
        loss << QString::number(m.model().hop(hop).lossPercent(), 'f', 0);
    return QStringLiteral("loss %1 | rounds %2 | probes %3").arg(loss.join(u' ')).arg(m.model().rounds()).arg(w.sent.size());
}

struct NoSockets final : IcmpSocketFactory {
    IcmpSocketOpen open(QAbstractSocket::NetworkLayerProtocol) override { return {nullptr, EPERM, EPERM}; }
};

} // namespace

class TestMonitorRounds : public QObject {
    Q_OBJECT
private slots:
    // Fault caught: a round probing past the target once it answered in any round, or never probing to 30 before;
    // an answer after its two seconds counted, or counted for the wrong hop; a silent hop not lost;
    // a refused send ending the rounds or not counted as loss; rounds sent while paused, or a
    // burst after resuming; the interval not taken while running; a run that outlives stop().
    void rounds_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("v6");
        QTest::addColumn<double>("intervalS");
        QTest::addColumn<std::vector<Step>>("steps");
        QTest::addColumn<double>("runMs");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("verdict");
        const auto sendError = [](int error) { return [error](World& w, PathMonitor&) { w.sendError = error; }; };
        const auto firstHopDown = [](World&, PathMonitor& m) { QCOMPARE(m.verdict().kind, monitor::Verdict::Kind::FirstHopDown); };
        const auto pause = [](bool p) { return [p](World&, PathMonitor& m) { m.setPaused(p); }; };
        // 5 rounds: 30 probes in the first (the target not yet known), then up to the target's hop and one past it.
        QTest::newRow("clean") << "10 20 30!" << false << 1.0 << std::vector<Step>{} << 4500.0
                               << "loss 0 0 0 | rounds 5 | probes 46" << "No loss to target.test (198.18.3.1) in 5 rounds; average 30 ms.";
        QTest::newRow("clean v6") << "10 20 30!" << true << 1.0 << std::vector<Step>{} << 4500.0
                                  << "loss 0 0 0 | rounds 5 | probes 46" << "No loss to target.test (2001:db8:3::1) in 5 rounds; average 30 ms.";
        // The middle router answers after its probe's wait: lost, like a silent one. Round 2 goes out
        // before the first is over, knowing the target (5 probes); rounds 9 and 10 wait at the end.
        QTest::newRow("late and silent") << "10 2500 - 40!" << false << 1.0 << std::vector<Step>{} << 9500.0
                                         << "loss 0 100 100 0 | rounds 8 | probes 75" << "No loss to target.test (198.18.4.1) in 8 rounds; average 40 ms. Delay rises by 30 ms at hop 4 (198.18.4.1).";
        // At 0.1 s, 20 rounds go out while the first waits 2 s for the silent hop: all but it probe 4 hops.
        QTest::newRow("silent hop at 0.1 s") << "10 - 30!" << false << 0.1 << std::vector<Step>{} << 2950.0
                                             << "loss 0 100 0 | rounds 10 | probes 146" << "";
        // From 1.2 s to 7 s no round can be sent: every hop lost, the verdict says the link is down,
        // and the rounds go on and recover.
        QTest::newRow("network away") << "10 20 30!" << false << 0.5
                                      << std::vector<Step>{{1200, sendError(ENETUNREACH)}, {6900, firstHopDown}, {7000, sendError(0)}} << 9000.0
                                      << "loss 67 67 67 | rounds 18 | probes 102" << "";
        // Paused from 1.5 s to 4.5 s: rounds at 0, 1, then at once on resuming, 5.5, 6.5.
        QTest::newRow("paused") << "10 20 30!" << false << 1.0 << std::vector<Step>{{1500, pause(true)}, {4500, pause(false)}} << 7000.0
                                << "loss 0 0 0 | rounds 5 | probes 46" << "";
        QTest::newRow("interval changed") << "10 20 30!" << false << 1.0
                                          << std::vector<Step>{{1500, [](World&, PathMonitor& m) { m.setIntervalSeconds(0.25); }}} << 2990.0
                                          << "loss 0 0 0 | rounds 8 | probes 58" << "";
        QTest::newRow("stopped") << "10 20 30!" << false << 0.1 << std::vector<Step>{{950, [](World&, PathMonitor& m) { m.stop(); }}}
                                 << 5000.0 << "loss 0 0 0 | rounds 10 | probes 66" << "";
    }
    void rounds()
    {
        QFETCH(QString, path);
        QFETCH(bool, v6);
        QFETCH(double, intervalS);
        QFETCH(std::vector<Step>, steps);
        QFETCH(double, runMs);
        QFETCH(QString, expected);
        QFETCH(QString, verdict);
        World w(path, v6);
        const QHostAddress target = w.node(int(w.nodes.size()));
        PathMonitor m(IcmpAdapters{&w, &w, &w}, {"target.test", target});
        QStringList failures;
        connect(&m, &PathMonitor::failed, this, [&](const QString& message) { failures << message; });
        m.start(intervalS);
        double at = 0;
        for (const Step& step : steps) {
            w.advanceMs(step.atMs - at);
            step.act(w, m);
            at = step.atMs;
        }
        w.advanceMs(runMs - at);
        QCOMPARE(summary(m, w), expected);
        if (!verdict.isEmpty())
            QCOMPARE(m.verdict().text, verdict);
        QVERIFY(failures.isEmpty());
        for (int hop = 1; hop <= m.model().hopCount(); ++hop)   // no trip longer than a probe's wait
            QVERIFY(m.model().hop(hop).received() == 0 || *m.model().hop(hop).worst() <= 2000);
    }

    // Fault caught: a monitor that cannot have a socket saying nothing, or not what to change.
    void noSocket()
    {
        World w("10!");
        NoSockets none;
        PathMonitor m(IcmpAdapters{&none, &w, &w}, {"target.test", w.node(1)});
        QStringList failures;
        connect(&m, &PathMonitor::failed, this, [&](const QString& message) { failures << message; });
        m.start();
        w.advanceMs(3000);
        QCOMPARE(failures.size(), 1);
        QVERIFY2(failures[0].startsWith("Not allowed to send ICMP") && failures[0].contains("setcap"), qPrintable(failures[0]));
        QCOMPARE(m.model().rounds(), 0);
    }
};

QTEST_MAIN(TestMonitorRounds)
#include "tst_monitor_rounds.moc"
