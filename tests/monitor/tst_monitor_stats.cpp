// One hop's statistics against hand-computed tables, the path's rows as rounds come in, and
// the history's memory over a day of rounds.
#include "monitor/PathModel.h"

#include <QtTest>

#include <cmath>

using namespace monitor;

namespace {

constexpr double L = NAN;   // a lost probe

QHostAddress router(int n)
{
    return QHostAddress(QStringLiteral("198.18.0.%1").arg(n));
}

// One round from a line: per hop '.' lost, a digit the router 198.18.0.<digit>, 'T' the target,
// 'U' an unreachable from router 9. The round trip is the hop number in ms.
Round roundOf(const QString& line, qint64 atMs = 0)
{
    Round round{.atMs = atMs};
    for (int i = 0; i < line.size(); ++i) {
        const QChar c = line[i];
        round.hops.append(c == u'.' ? HopSample::lost()
                          : c == u'T' ? HopSample::reply(QHostAddress(QStringLiteral("198.18.9.9")), i + 1, true)
                          : c == u'U' ? HopSample::unreachableFrom(router(9), i + 1)
                                      : HopSample::reply(router(c.digitValue()), i + 1));
    }
    return round;
}

} // namespace

class TestMonitorStats : public QObject {
    Q_OBJECT
private slots:
    void statistics_data()
    {
        QTest::addColumn<QList<double>>("rtts");
        QTest::addColumn<QList<double>>("expected");   // loss %, last, avg, best, worst, stdev, jitter; L: none

        // A definition that drifts from mtr's: population stdev, jitter over lost probes or
        // divided by answers − 1, a loss taken as the last round trip, zeros for a silent hop.
        QTest::newRow("all lost") << QList<double>{L, L} << QList<double>{100, L, L, L, L, L, L};
        QTest::newRow("one answer") << QList<double>{10} << QList<double>{0, 10, 10, 10, 10, 0, 0};
        QTest::newRow("losses between samples") << QList<double>{10, L, 14, 13}
            << QList<double>{25, 13, 37.0 / 3, 10, 14, std::sqrt(39.0 / 9), 5.0 / 3};
        QTest::newRow("sample stdev") << QList<double>{1, 2, 3, 4} << QList<double>{0, 4, 2.5, 1, 4, std::sqrt(5.0 / 3), 0.75};
        QTest::newRow("last is an answer") << QList<double>{5, 7, L} << QList<double>{100.0 / 3, 7, 6, 5, 7, std::sqrt(2.0), 1};
        QTest::newRow("losses around") << QList<double>{L, 20, L, L, 30, L}
            << QList<double>{400.0 / 6, 30, 25, 20, 30, std::sqrt(50.0), 5};
    }
    void statistics()
    {
        QFETCH(QList<double>, rtts);
        QFETCH(QList<double>, expected);
        HopStats hop;
        for (double rtt : rtts)
            std::isnan(rtt) ? hop.addLoss() : hop.addReply(router(1), rtt);
        const QList<std::optional<double>> got{hop.lossPercent(), hop.last(), hop.avg(), hop.best(),
                                               hop.worst(), hop.stdev(), hop.jitter()};
        QCOMPARE(hop.sent(), rtts.size());
        for (int i = 0; i < expected.size(); ++i)
            QVERIFY2(std::isnan(expected[i]) ? !got[i] : got[i] && std::abs(*got[i] - expected[i]) < 1e-9, qPrintable(QString::number(i)));
    }

    // Load balancing counted wrongly: the main responder must be the most frequent, ties go
    // to the first seen, and the list stays bounded.
    void responders()
    {
        HopStats hop;
        for (int n : {1, 2, 2, 3, 2, 1})
            hop.addReply(router(n), 1);
        QCOMPARE(hop.mainResponder(), router(2));
        QCOMPARE(hop.responders().size(), 3);
        QVERIFY(hop.responders()[1].address == router(1) && hop.responders()[1].received == 2);
        for (int n = 10; n < 40; ++n)
            hop.addReply(router(n), 1);
        QCOMPARE(hop.responders().size(), HopStats::kMaxResponders);
        QCOMPARE(hop.unlistedReplies(), 30 - (HopStats::kMaxResponders - 3));
    }

    void rows_data()
    {
        QTest::addColumn<QStringList>("rounds");
        QTest::addColumn<int>("rows");
        QTest::addColumn<int>("hop3Sent");

        // Rows kept past the target, kept after it answers nearer, or a silent tail shown whole.
        QTest::newRow("target ends the path") << QStringList{"12T45"} << 3 << 1;
        QTest::newRow("beyond the target not counted") << QStringList{"123T5", "12T45"} << 3 << 2;
        QTest::newRow("target nearer drops rows") << QStringList{"123T", "12T"} << 3 << 2;
        QTest::newRow("silent tail shows one row") << QStringList{"12....", "1....."} << 3 << 2;
        QTest::newRow("unreachable ends the rows") << QStringList{"12U..."} << 3 << 1;
        QTest::newRow("nothing answers") << QStringList{"....."} << 1 << 1;
    }
    void rows()
    {
        QFETCH(QStringList, rounds);
        QFETCH(int, rows);
        QFETCH(int, hop3Sent);
        PathModel model;
        for (const QString& line : rounds)
            model.addRound(roundOf(line));
        QCOMPARE(model.hopCount(), rows);
        QCOMPARE(model.hop(3).sent(), hop3Sent);
        if (model.targetHop())
            QCOMPARE(model.hop(rows + 1).sent(), 0);
        model.reset();
        QVERIFY(model.rounds() == 0 && model.hopCount() == 0 && model.hop(1).sent() == 0);
    }

    // Buckets that mix minutes or miscount loss, and a ring that loses the newest samples.
    void history()
    {
        HopHistory history({.rawSamples = 100, .buckets = 2, .bucketMs = 60'000});
        for (int s = 0; s < 180; ++s)
            s % 4 == 3 ? history.addLoss(s * 1000) : history.addReply(s * 1000, s % 60);
        QCOMPARE(history.sampleCount(), 100);
        QCOMPARE(history.samples().first().atMs, 80'000);
        QVERIFY(history.samples().last().lost());
        const QList<HopHistory::Bucket> buckets = history.buckets();
        QVERIFY(buckets.size() == 2 && buckets[0].startMs == 60'000 && buckets[1].lossPercent() == 25.0);
        QVERIFY(buckets[1].bestMs == 0 && buckets[1].worstMs == 58 && buckets[1].avgMs() == 29.0);
    }

    // A day at one round a second over 30 hops: the history must stop growing at its limits.
    void dayOfRoundsStaysBounded()
    {
        PathModel model;
        Round round{.atMs = 0};
        for (int h = 1; h <= 30; ++h)
            round.hops.append(HopSample::reply(router(h), h, h == 30));
        for (int s = 0; s < 86'400; ++s) {
            round.atMs = s * 1000LL;
            round.hops[s % 29].answered = s % 7 != 0;
            model.addRound(round);
        }
        const HistoryLimits limits;
        QCOMPARE(model.history(30).sampleCount(), limits.rawSamples);
        QCOMPARE(model.history(30).bucketCount(), 1440);
        const qsizetype perHop = limits.rawSamples * sizeof(HopHistory::Sample) + limits.buckets * sizeof(HopHistory::Bucket);
        QVERIFY(model.historyBytes() <= 30 * perHop);
        QVERIFY(30 * perHop < 16 * 1024 * 1024);
    }
};

QTEST_GUILESS_MAIN(TestMonitorStats)
#include "tst_monitor_stats.moc"
