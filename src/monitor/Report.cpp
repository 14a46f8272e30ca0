#include "Report.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace monitor {

Report buildReport(const PathModel& model, const Verdict& verdict, const ReportInfo& info)
{
    Report report;
    report.target = info.target.host;
    report.address = info.target.address.toString();
    report.rounds = model.rounds();
    report.intervalSeconds = info.intervalSeconds;
    report.startMs = model.firstRoundMs();
    report.verdict = verdict.text;
    for (int h = 1; h <= model.hopCount(); ++h) {
        const HopStats& stats = model.hop(h);
        ReportHop row;
        row.hop = h;
        row.sent = stats.sent();
        row.received = stats.received();
        row.loss = stats.lossPercent();
        row.last = stats.last();
        row.avg = stats.avg();
        row.best = stats.best();
        row.worst = stats.worst();
        row.stdev = stats.stdev();
        row.jitter = stats.jitter();
        row.rateLimited = verdict.rateLimited(h);
        if (stats.received() > 0) {
            const QHostAddress main = stats.mainResponder();
            row.address = main;
            if (const auto name = info.names.constFind(main); name != info.names.cend() && !name->isEmpty())
                row.name = *name;
            if (const auto origin = info.origins.constFind(main); origin != info.origins.cend()) {
                row.asn = origin->asn;
                if (!origin->asName.isEmpty())
                    row.asName = origin->asName;
                if (!origin->prefix.isEmpty())
                    row.prefix = origin->prefix;
            }
            for (const HopStats::Responder& responder : stats.responders()) {
                if (responder.address != main)
                    row.others.append(responder);
            }
        }
        report.hops.append(row);
    }
    return report;
}

QString safeName(const QString& name, bool spaces)
{
    QString out = name;
    for (QChar& c : out) {
        const char16_t u = c.unicode();
        const bool bidi = u == 0x061C || u == 0x200E || u == 0x200F || (u >= 0x202A && u <= 0x202E)
                          || (u >= 0x2066 && u <= 0x2069);
        if ((c.isSpace() && !(spaces && u == u' ')) || c.category() == QChar::Other_Control || c.category() == QChar::Other_Format || bidi)
            c = QChar(QChar::ReplacementCharacter);
    }
    return out;
}

namespace {

// Milliseconds to the microsecond: finer than any probe's clock.
QJsonValue ms(const std::optional<double>& value)
{
    return value ? QJsonValue(std::round(*value * 1000) / 1000) : QJsonValue(QJsonValue::Null);
}

QJsonValue orNull(const std::optional<QString>& text)
{
    return text ? QJsonValue(*text) : QJsonValue(QJsonValue::Null);
}

} // namespace

QByteArray reportJson(const Report& report)
{
    QJsonArray hops;
    for (const ReportHop& row : report.hops) {
        QJsonArray others;
        for (const HopStats::Responder& other : row.others)
            others.append(QJsonObject{{"address", other.address.toString()}, {"received", other.received}});
        QJsonObject hop{
            {"hop", row.hop},
            {"address", row.address ? QJsonValue(row.address->toString()) : QJsonValue(QJsonValue::Null)},
            {"name", orNull(row.name)},
            {"sent", row.sent},
            {"received", row.received},
            {"loss", std::round(row.loss * 10) / 10},
            {"last", ms(row.last)},
            {"avg", ms(row.avg)},
            {"best", ms(row.best)},
            {"worst", ms(row.worst)},
            {"stdev", ms(row.stdev)},
            {"jitter", ms(row.jitter)},
            {"rate_limited", row.rateLimited},
            {"others", others},
        };
        if (row.asn)
            hop.insert("asn", qint64(*row.asn));
        if (row.asName)
            hop.insert("as_name", *row.asName);
        if (row.prefix)
            hop.insert("prefix", *row.prefix);
        hops.append(hop);
    }
    const QJsonObject top{
        {"target", report.target},
        {"address", report.address},
        {"rounds", report.rounds},
        {"interval", report.intervalSeconds},
        {"verdict", report.verdict},
        {"hops", hops},
    };
    return QJsonDocument(top).toJson(QJsonDocument::Indented);
}

} // namespace monitor
