// The report's three formats, each read back: JSON with QJsonDocument, CSV field by field,
// the text by its columns. A hostile reverse-lookup name must not break any of them.
#include "monitor/Report.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QtTest>

using namespace monitor;

namespace {

const QHostAddress kGateway(QStringLiteral("198.18.0.1"));
const QHostAddress kOther(QStringLiteral("198.18.0.5"));
const QHostAddress kTarget(QStringLiteral("198.18.9.9"));
const QString kHostileName = QStringLiteral("=cmd,\"x\" \u202eevil\n");

// Hop 1 answered by the gateway three times and another router once, hop 2 silent, hop 3
// the target at 10, 12, 11, 13 ms.
Report sampleReport()
{
    PathModel model;
    for (int i = 0; i < 4; ++i) {
        model.addRound({.atMs = 1'700'000'000'000 + i * 1000,
                        .hops = {HopSample::reply(i == 3 ? kOther : kGateway, 1 + i % 2), HopSample::lost(),
                                 HopSample::reply(kTarget, QList<double>{10, 12, 11, 13}[i], true)}});
    }
    ReportInfo info{.target = {QStringLiteral("target.test"), kTarget}, .intervalSeconds = 0.5};
    info.names = {{kGateway, QStringLiteral("gw.lab")}, {kTarget, kHostileName}};
    info.origins = {{kGateway, {.asn = 64500, .asName = QStringLiteral("LAB-NET"), .prefix = QStringLiteral("198.18.0.0/24")}}};
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

class TestMonitorReport : public QObject {
    Q_OBJECT
private slots:
    // Missing or misnamed keys, zeros where nothing was received, AS fields written when unset.
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
        const QJsonObject gateway = hops[0].toObject(), target = hops[2].toObject();
        QCOMPARE(gateway["others"].toArray(), QJsonArray({QJsonObject{{"address", "198.18.0.5"}, {"received", 1}}}));
        QVERIFY(gateway["asn"] == 64500 && gateway["as_name"] == "LAB-NET" && gateway["name"] == "gw.lab");
        QVERIFY(target["name"] == kHostileName && target["jitter"] == 1.25 && target["avg"] == 11.5 && !target.contains("asn"));
    }

    // Fields that shift under a comma or quote in a name, or a name a spreadsheet would run.
    void csv()
    {
        const QStringList lines = reportCsv(sampleReport()).split(u'\n', Qt::SkipEmptyParts);
        const QStringList header = csvFields(lines[0]);
        QCOMPARE(header.mid(0, 6), QStringList({"hop", "address", "name", "sent", "received", "loss"}));
        QCOMPARE(header.size(), 17);
        QCOMPARE(lines.size(), 1 + 3);
        const auto at = [&](int row, const char* column) { return csvFields(lines[row])[header.indexOf(column)]; };
        QCOMPARE(QStringList({at(1, "others"), at(1, "asn"), at(2, "avg"), at(3, "jitter")}),
                 QStringList({"198.18.0.5=1", "64500", "", "1.250"}));
        QCOMPARE(at(3, "name"), QStringLiteral("'=cmd,\"x\"\uFFFD\uFFFDevil\uFFFD"));
    }

    // Columns out of line with the header, or a name that adds, hides or reorders words.
    void text()
    {
        const Report report = sampleReport();
        const QStringList lines = reportText(report).split(u'\n');
        const qsizetype lossEnd = lines[1].indexOf("Loss%") + 5;
        QCOMPARE(lines[1].split(u' ', Qt::SkipEmptyParts).mid(3),
                 QStringList({"Loss%", "Snt", "Last", "Avg", "Best", "Wrst", "StDev", "Javg"}));
        const QStringList gateway = lines[2].split(u' ', Qt::SkipEmptyParts);
        QCOMPARE(gateway.mid(0, 3), QStringList({"1.|--", "gw.lab", "(198.18.0.1)"}));
        QCOMPARE(gateway.mid(3), QStringList({"0.0%", "4", "2.0", "1.5", "1.0", "2.0", "0.6", "0.8"}));
        QVERIFY(lines[3].contains("`|-- 198.18.0.5 (replies: 1)"));
        QCOMPARE(lines[4].split(u' ', Qt::SkipEmptyParts).mid(1, 3), QStringList({"???", "100.0%", "4"}));
        QCOMPARE(lines[5].split(u' ', Qt::SkipEmptyParts).size(), 11);
        for (int i : {2, 4, 5})
            QCOMPARE(lines[i].indexOf(u'%', lossEnd - 2) + 1, lossEnd);
        QCOMPARE(lines.at(lines.size() - 2), report.verdict);
    }
};

QTEST_GUILESS_MAIN(TestMonitorReport)
#include "tst_monitor_report.moc"
