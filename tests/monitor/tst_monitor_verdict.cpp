// The verdict's rules on simulated paths: scripted ones with exact texts, and noisy ones that
// must give the same verdict in every one of ten seeded runs.
#include "PathSim.h"
#include "monitor/Verdict.h"

#include <QRegularExpression>
#include <QtTest>

using namespace monitor;

struct Phase {
    QList<SimHop> hops;
    int rounds = 0;
};
Q_DECLARE_METATYPE(Phase)

namespace {

const Target kTarget{QStringLiteral("target.test"), PathSim::target()};

// Six hops of 1 ms each, with the hops named changed.
QList<SimHop> path(std::initializer_list<std::pair<int, SimHop>> changes = {}, int length = 6)
{
    QList<SimHop> hops(length);
    for (const auto& [hop, change] : changes)
        hops[hop - 1] = change;
    return hops;
}

} // namespace

class TestMonitorVerdict : public QObject {
    Q_OBJECT
private slots:
    void rules_data()
    {
        QTest::addColumn<QList<Phase>>("phases");
        QTest::addColumn<int>("seed");
        QTest::addColumn<int>("rows");
        QTest::addColumn<QString>("text");   // '*' stands for any text
        QTest::addColumn<int>("limitedHop");

        // A rule that fires on the wrong path, names the wrong hop or words it wrongly.
        const QList<SimHop> five = path({}, 5), down = path({{1, {.linkLoss = 1}}}, 5);
        const QString clean = "No loss to target.test (198.18.9.9) in %1 rounds; average %2 ms.";
        const QString limits = " Hop %1 (198.18.0.%1) does not answer every probe, but later hops lose nothing: "
                               "that router limits its replies; this is not loss on the path.";
        const QString lossAt4 = "Loss begins at hop 4 (198.18.0.4) and reaches target.test: *% of packets are lost between hop 3 and hop 4.";
        QTest::newRow("clean path") << QList<Phase>{{five, 60}} << 1 << 5 << clean.arg(60).arg(5) << 0;
        QTest::newRow("rate-limited middle hop") << QList<Phase>{{path({{2, {.answerLoss = 0.5}}}, 5), 300}} << 1 << 5
            << clean.arg(300).arg(5) + limits.arg(2) << 2;
        QTest::newRow("silent target") << QList<Phase>{{path({{5, {.answerLoss = 1}}}, 5), 60}} << 1 << 5
            << "target.test does not answer; the last hop that answers is hop 4 (198.18.0.4)." << 0;
        QTest::newRow("two responders at one hop") << QList<Phase>{{path({{2, {.otherShare = 0.5}}}, 5), 300}} << 1 << 5
            << clean.arg(300).arg(5) << 0;
        QTest::newRow("latency step") << QList<Phase>{{path({{3, {.linkMs = 40}}}, 5), 60}} << 1 << 5
            << clean.arg(60).arg(44) + " Delay rises by 40 ms at hop 3 (198.18.0.3)." << 0;
        QTest::newRow("slow router, no step") << QList<Phase>{{path({{2, {.answerMs = 50}}}, 5), 60}} << 1 << 5
            << clean.arg(60).arg(5) << 0;
        QTest::newRow("path shortens mid-run") << QList<Phase>{{five, 30}, {path({{3, {.id = 7}}}, 4), 30}} << 1 << 4
            << clean.arg(60).arg(4) << 0;
        QTest::newRow("first hop down") << QList<Phase>{{five, 30}, {down, 20}} << 1 << 5
            << "target.test does not answer, and the first hop (198.18.0.1) stopped answering: this computer's link looks down." << 0;
        QTest::newRow("first hop back") << QList<Phase>{{five, 30}, {down, 20}, {five, 30}} << 1 << 5
            << "Loss begins at hop 1 (198.18.0.1) and reaches target.test: 25% of packets are lost between this computer and hop 1." << 0;

        // Sampling noise read as a verdict, in 10 of 10 runs: 10% loss each way on the link to
        // hop 4 (about 19% of round trips), a router answering half its probes, and both side by side.
        const SimHop noisy{.jitterMs = 2};
        for (int seed = 1; seed <= 10; ++seed) {
            QTest::addRow("lossy link, seed %d", seed) << QList<Phase>{{path({{1, noisy}, {4, {.linkLoss = 0.1, .jitterMs = 2}}}), 300}}
                << seed << 6 << lossAt4 << 0;
            QTest::addRow("rate-limited hop, seed %d", seed) << QList<Phase>{{path({{1, noisy}, {3, {.answerLoss = 0.5, .jitterMs = 2}}}), 300}}
                << seed << 6 << clean.arg(300).arg("*") + limits.arg(3) << 3;
            QTest::addRow("both, seed %d", seed) << QList<Phase>{{path({{3, {.answerLoss = 0.5}}, {4, {.linkLoss = 0.1}}, {6, noisy}}), 300}}
                << seed << 6 << lossAt4 << 3;
        }
    }
    void rules()
    {
        QFETCH(QList<Phase>, phases);
        QFETCH(int, seed);
        QFETCH(int, rows);
        QFETCH(QString, text);
        QFETCH(int, limitedHop);
        PathModel model;
        PathSim sim{.rng = QRandomGenerator(seed)};
        for (const Phase& phase : phases) {
            sim.hops = phase.hops;
            sim.run(model, phase.rounds);
        }
        const Verdict v = judge(model, kTarget);
        QCOMPARE(model.hopCount(), rows);
        QVERIFY2(QRegularExpression(QRegularExpression::wildcardToRegularExpression(text)).match(v.text).hasMatch(), qPrintable(v.text));
        for (int h = 1; h <= rows; ++h)
            QCOMPARE(v.rateLimited(h), h == limitedHop);
    }
};

QTEST_GUILESS_MAIN(TestMonitorVerdict)
#include "tst_monitor_verdict.moc"
