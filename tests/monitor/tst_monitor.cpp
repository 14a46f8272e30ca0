// The monitor's model: one hop's statistics against hand-computed tables, the path's rows and
// the history's memory; the verdict's rules on simulated paths; the report's three formats.
#include "monitor/PathModel.h"
#include "monitor/Report.h"
#include "monitor/Verdict.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QtTest>

#include <cmath>

using namespace monitor;

// A scripted path: each hop's link may delay and drop packets (each direction), and each router
// may answer only some probes, answer slowly, or share its hop with a second router. Seeded.
struct SimHop {
    double linkMs = 1;          // round-trip delay the link before this hop adds
    double linkLoss = 0;        // chance the link before this hop drops a packet, each way
    double answerLoss = 0;      // chance this router does not answer a probe that reached it
    double answerMs = 0;        // extra time the router takes to answer itself
    double jitterMs = 0;        // each answer is late by up to this much, at random
    double otherShare = 0;      // share of answers coming from a second router (load balancing)
    int id = 0;                 // names the router 198.18.0.<id>; 0: its hop number
};

struct PathSim {
    QList<SimHop> hops;         // the last one is the target
    QRandomGenerator rng{1};
    qint64 nowMs = 1'700'000'000'000;

    static QHostAddress router(int n) { return QHostAddress(QStringLiteral("198.18.0.%1").arg(n)); }
    static QHostAddress target() { return QHostAddress(QStringLiteral("198.18.9.9")); }
    bool chance(double p) { return p > 0 && rng.generateDouble() < p; }
    void run(PathModel& model, int rounds)
    {
        for (int n = 0; n < rounds; ++n, nowMs += 1000) {
            Round r{.atMs = nowMs};
            for (int ttl = 1; ttl <= hops.size(); ++ttl) {
                double rtt = 0;
                bool through = true;
                for (int i = 0; i < ttl && through; ++i) {
                    through = !chance(hops[i].linkLoss) && !chance(hops[i].linkLoss);
                    rtt += hops[i].linkMs;
                }
                const SimHop& hop = hops[ttl - 1];
                if (!through || chance(hop.answerLoss)) {
                    r.hops.append(HopSample::lost());
                    continue;
                }
                rtt += hop.answerMs + hop.jitterMs * rng.generateDouble();
                const bool isTarget = ttl == hops.size();
                const int id = chance(hop.otherShare) ? 100 + ttl : (hop.id ? hop.id : ttl);
                r.hops.append(HopSample::reply(isTarget ? target() : router(id), rtt, isTarget));
            }
            model.addRound(r);
        }
    }
};

struct Phase {
    QList<SimHop> hops;
    int rounds = 0;
};
Q_DECLARE_METATYPE(Phase)

namespace {

constexpr double L = NAN;   // a lost probe
const auto router = PathSim::router;

// One round from a line: per hop '.' lost, a digit the router 198.18.0.<digit>, 'T' the target,
// 'U' an unreachable from router 9. The round trip is the hop number in ms.
Round roundOf(const QString& line)
{
    Round round{};
    for (int i = 0; i < line.size(); ++i)
        round.hops.append(line[i] == u'.' ? HopSample::lost()
                          : line[i] == u'T' ? HopSample::reply(PathSim::target(), i + 1, true)
                          : line[i] == u'U' ? HopSample::unreachableFrom(router(9), i + 1)
                                            : HopSample::reply(router(line[i].digitValue()), i + 1));
    return round;
}

// Six hops of 1 ms each, with the hops named changed.
QList<SimHop> path(std::initializer_list<std::pair<int, SimHop>> changes = {}, int length = 6)
{
    QList<SimHop> hops(length);
    for (const auto& [hop, change] : changes)
        hops[hop - 1] = change;
    return hops;
}

const QString kHostileName = QStringLiteral("=cmd,\"x\" \u202eevil\n");

// Hop 1 answered by the gateway three times and router 5 once, hop 2 silent, hop 3 the target
// at 10, 12, 11, 13 ms.
Report sampleReport()
{
    PathModel model;
    PathSim sim;
    for (int i = 0; i < 4; ++i) {
        sim.hops = {{.linkMs = 1.0 + i % 2, .id = i == 3 ? 5 : 1}, {.answerLoss = 1}, {.linkMs = QList<double>{8, 9, 9, 10}[i]}};
        sim.run(model, 1);
    }
    ReportInfo info{.target = {QStringLiteral("target.test"), PathSim::target()}, .intervalSeconds = 0.5};
    info.names = {{router(1), QStringLiteral("gw.lab")}, {PathSim::target(), kHostileName}};
    info.origins = {{router(1), {.asn = 64500, .asName = QStringLiteral("LAB-NET - Lab\tnetwork"), .prefix = QStringLiteral("198.18.0.0/24")}}};
    return buildReport(model, judge(model, info.target), info);
}

// RFC 4180 fields of one line.
QStringList csvFields(const QString& line)
{
    QStringList fields;
    static const QRegularExpression field(QStringLiteral("(?:^|,)(\"(?:[^\"]|\"\")*\"|[^,]*)"));
    for (const QRegularExpressionMatch& m : field.globalMatch(line))
        fields.append(m.captured(1).startsWith(u'"') ? m.captured(1).mid(1).chopped(1).replace("\"\"", "\"") : m.captured(1));
    return fields;
}

} // namespace

class TestMonitor : public QObject {
    Q_OBJECT
private slots:
    // A definition that drifts from mtr's: population stdev, jitter over lost probes or
    // divided by answers − 1, a loss taken as the last round trip, zeros for a silent hop.
    void statistics()
    {
        const std::pair<QList<double>, QList<double>> cases[] = {   // round trips; loss %, last, avg, best, worst, stdev, jitter
            {{L, L}, {100, L, L, L, L, L, L}}, {{10}, {0, 10, 10, 10, 10, 0, 0}},
            {{1, 2, 3, 4}, {0, 4, 2.5, 1, 4, std::sqrt(5.0 / 3), 0.75}},
            {{L, 20, L, L, 30, L}, {400.0 / 6, 30, 25, 20, 30, std::sqrt(50.0), 5}}};
        for (const auto& [rtts, expected] : cases) {
            HopStats hop;
            for (double rtt : rtts)
                std::isnan(rtt) ? hop.addLoss() : hop.addReply(router(1), rtt);
            const QList<std::optional<double>> got{hop.lossPercent(), hop.last(), hop.avg(), hop.best(), hop.worst(), hop.stdev(), hop.jitter()};
            QCOMPARE(hop.sent(), rtts.size());
            for (int i = 0; i < expected.size(); ++i)
                QVERIFY2(std::isnan(expected[i]) ? !got[i] : got[i] && std::abs(*got[i] - expected[i]) < 1e-9, qPrintable(QString::number(i)));
        }
    }

    // Load balancing counted wrongly: the main responder must be the most frequent, ties go
    // to the first seen, and the list stays bounded.
    void responders()
    {
        HopStats hop;
        for (int n : {1, 2, 2, 3, 2, 1})
            hop.addReply(router(n), 1);
        QCOMPARE(hop.mainResponder(), router(2));
        QVERIFY(hop.responders().size() == 3 && hop.responders()[1].address == router(1) && hop.responders()[1].received == 2);
        for (int n = 10; n < 40; ++n)
            hop.addReply(router(n), 1);
        QCOMPARE(hop.responders().size(), HopStats::kMaxResponders);
        QCOMPARE(hop.unlistedReplies(), 30 - (HopStats::kMaxResponders - 3));
    }

    // Rows kept past the target, kept after it answers nearer, or a silent tail shown whole.
    void rows()
    {
        const std::tuple<QStringList, int, int> cases[] = {   // rounds, rows, probes sent at hop 3
            {{"12T45"}, 3, 1}, {{"123T5", "12T45"}, 3, 2}, {{"123T", "12T"}, 3, 2},
            {{"12....", "1....."}, 3, 2}, {{"12U..."}, 3, 1}, {{"....."}, 1, 1}};
        for (const auto& [rounds, rows, hop3Sent] : cases) {
            PathModel model;
            for (const QString& line : rounds)
                model.addRound(roundOf(line));
            QVERIFY(model.hopCount() == rows && model.hop(3).sent() == hop3Sent);
            QVERIFY(!model.targetHop() || model.hop(rows + 1).sent() == 0);
            model.reset();
            QVERIFY(model.rounds() == 0 && model.hopCount() == 0 && model.hop(1).sent() == 0);
        }
    }

    // Buckets that mix minutes or miscount loss, a ring that loses the newest samples, and a day
    // at one round a second over 30 hops that does not stop growing at the limits.
    void history()
    {
        HopHistory history({.rawSamples = 100, .buckets = 2, .bucketMs = 60'000});
        for (int s = 0; s < 180; ++s)
            s % 4 == 3 ? history.addLoss(s * 1000) : history.addReply(s * 1000, s % 60);
        QVERIFY(history.sampleCount() == 100 && history.samples().first().atMs == 80'000 && history.samples().last().lost());
        const QList<HopHistory::Bucket> buckets = history.buckets();
        QVERIFY(buckets.size() == 2 && buckets[0].startMs == 60'000 && buckets[1].lossPercent() == 25.0);
        QVERIFY(buckets[1].bestMs == 0 && buckets[1].worstMs == 58 && buckets[1].avgMs() == 29.0);

        PathModel model;
        Round round{};
        for (int h = 1; h <= 30; ++h)
            round.hops.append(HopSample::reply(router(h), h, h == 30));
        for (int s = 0; s < 86'400; ++s)
            round.atMs = s * 1000LL, model.addRound(round);
        const HistoryLimits limits;
        QVERIFY(model.history(30).sampleCount() == limits.rawSamples && model.history(30).bucketCount() == 1440);
        QVERIFY(size_t(model.historyBytes()) <= 30 * (limits.rawSamples * sizeof(HopHistory::Sample) + limits.buckets * sizeof(HopHistory::Bucket)));
    }

    void verdict_data()
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
            // Hop 3 limits its replies: the loss is measured from hop 2, and said so.
            QTest::addRow("both, seed %d", seed) << QList<Phase>{{path({{3, {.answerLoss = 0.5}}, {4, {.linkLoss = 0.1}}, {6, noisy}}), 300}}
                << seed << 6 << QString(lossAt4).replace("hop 3 and", "hop 2 and") << 3;
        }
    }
    void verdict()
    {
        QFETCH(QList<Phase>, phases);
        QFETCH(int, seed);
        QFETCH(int, rows);
        QFETCH(QString, text);
        QFETCH(int, limitedHop);
        PathModel model;
        PathSim sim{.rng = QRandomGenerator(seed)};
        for (const Phase& phase : phases)
            sim.hops = phase.hops, sim.run(model, phase.rounds);
        const Verdict v = judge(model, {QStringLiteral("target.test"), PathSim::target()});
        QCOMPARE(model.hopCount(), rows);
        QVERIFY2(QRegularExpression(QRegularExpression::wildcardToRegularExpression(text)).match(v.text).hasMatch(), qPrintable(v.text));
        for (int h = 1; h <= rows; ++h)
            QCOMPARE(v.rateLimited(h), h == limitedHop);
    }

    // Missing or misnamed keys, a value of the wrong type, zeros where nothing was received, AS fields
    // written when unset.
    void json()
    {
        QJsonParseError error;
        const QJsonObject top = QJsonDocument::fromJson(reportJson(sampleReport()), &error).object();
        QCOMPARE(error.error, QJsonParseError::NoError);
        QVERIFY(top["target"] == "target.test" && top["address"] == "198.18.9.9" && top["rounds"] == 4 && top["interval"] == 0.5);
        QVERIFY(top["verdict"].toString().startsWith("No loss to target.test"));
        const QJsonArray hops = top["hops"].toArray();
        QCOMPARE(hops.size(), 3);
        QCOMPARE(hops[1].toObject(), QJsonObject({{"hop", 2}, {"address", QJsonValue::Null}, {"name", QJsonValue::Null},
            {"sent", 4}, {"received", 0}, {"loss", 100}, {"last", QJsonValue::Null}, {"avg", QJsonValue::Null},
            {"best", QJsonValue::Null}, {"worst", QJsonValue::Null}, {"stdev", QJsonValue::Null},
            {"jitter", QJsonValue::Null}, {"rate_limited", false}, {"others", QJsonArray()}}));
        QCOMPARE(hops[0].toObject(), QJsonObject({{"hop", 1}, {"address", "198.18.0.1"}, {"name", "gw.lab"}, {"sent", 4},
            {"received", 4}, {"loss", 0}, {"last", 2}, {"avg", 1.5}, {"best", 1}, {"worst", 2}, {"stdev", 0.577},
            {"jitter", 0.75}, {"rate_limited", false}, {"others", QJsonArray({QJsonObject{{"address", "198.18.0.5"}, {"received", 1}}})},
            {"asn", 64500}, {"as_name", "LAB-NET - Lab\tnetwork"}, {"prefix", "198.18.0.0/24"}}));
        const QJsonObject target = hops[2].toObject();
        QVERIFY(target["name"] == kHostileName && target["jitter"] == 1.25 && target["avg"] == 11.5 && !target.contains("asn"));
    }

    // Fields that shift under a comma or quote in a name, a name a spreadsheet would run, an AS name
    // losing its spaces (or keeping a tab).
    void csv()
    {
        const QStringList lines = reportCsv(sampleReport()).split(u'\n', Qt::SkipEmptyParts);
        const QStringList header = csvFields(lines[0]);
        QVERIFY(header.mid(0, 6) == QStringList({"hop", "address", "name", "sent", "received", "loss"}) && header.size() == 17);
        QCOMPARE(lines.size(), 1 + 3);
        const auto at = [&](int row, const char* column) { return csvFields(lines[row])[header.indexOf(column)]; };
        QCOMPARE(QStringList({at(1, "others"), at(1, "asn") + ' ' + at(1, "as_name"), at(2, "avg"), at(3, "jitter"), at(3, "name")}),
                 QStringList({"198.18.0.5=1", "64500 LAB-NET - Lab\uFFFDnetwork", "", "1.250", "'=cmd,\"x\"\uFFFD\uFFFDevil\uFFFD"}));
    }

    // Columns out of line with the header, a name that adds, hides or reorders words, or a hop's AS left out.
    void text()
    {
        const QStringList lines = reportText(sampleReport()).split(u'\n');
        const qsizetype lossEnd = lines[1].indexOf("Loss%") + 5;
        QCOMPARE(lines[1].split(u' ', Qt::SkipEmptyParts).mid(3),
                 QStringList({"Loss%", "Snt", "Last", "Avg", "Best", "Wrst", "StDev", "Javg"}));
        QCOMPARE(lines[2].split(u' ', Qt::SkipEmptyParts),
                 QStringList({"1.|--", "AS64500", "gw.lab", "(198.18.0.1)", "0.0%", "4", "2.0", "1.5", "1.0", "2.0", "0.6", "0.8"}));
        QVERIFY(lines[3].contains("`|-- 198.18.0.5 (replies: 1)"));
        QCOMPARE(lines[4].split(u' ', Qt::SkipEmptyParts).mid(1, 3), QStringList({"???", "100.0%", "4"}));
        QCOMPARE(lines[5].split(u' ', Qt::SkipEmptyParts).size(), 11);
        for (int i : {2, 4, 5})
            QCOMPARE(lines[i].indexOf(u'%', lossEnd - 2) + 1, lossEnd);
    }
};

QTEST_GUILESS_MAIN(TestMonitor)
#include "tst_monitor.moc"
