#include "Report.h"

#include <QDateTime>
#include <QTimeZone>

#include <algorithm>

// The text and CSV reports.
namespace monitor {

namespace {

// With its AS in front when known, as mtr -z shows it.
QString hostText(const ReportHop& row)
{
    if (!row.address)
        return QStringLiteral("???");
    const QString as = row.asn ? QStringLiteral("AS%1 ").arg(*row.asn) : QString();
    return as + (row.name ? QStringLiteral("%1 (%2)").arg(safeName(*row.name), row.address->toString())
                          : row.address->toString());
}

// A silent hop shows 0.0 in every time column, as mtr's report does.
QString msColumn(const std::optional<double>& value)
{
    return QString::number(value.value_or(0.0), 'f', 1).rightJustified(6);
}

QString csvNumber(const std::optional<double>& value)
{
    return value ? QString::number(*value, 'f', 3) : QString();
}

// RFC 4180 quoting, on names already made safe (so one line per hop). A text that a spreadsheet would read as a formula (a name from the
// network starting with = + - @) gets a leading apostrophe, so opening the file runs nothing.
QString csvField(QString text)
{
    if (!text.isEmpty() && QStringLiteral("=+-@").contains(text.front()))
        text.prepend(u'\'');
    if (text.contains(u',') || text.contains(u'"') || text.contains(u'\n') || text.contains(u'\r')) {
        text.replace(QStringLiteral("\""), QStringLiteral("\"\""));
        return u'"' + text + u'"';
    }
    return text;
}

} // namespace

QString reportText(const Report& report)
{
    const QString title = QStringLiteral("HOST: %1 (%2)").arg(report.target, report.address);
    qsizetype width = std::max<qsizetype>(0, title.size() - 8);   // "  1.|-- " is 8 wide
    for (const ReportHop& row : report.hops)
        width = std::max(width, hostText(row).size());

    QString out = QStringLiteral("Start: %1\n").arg(
        QDateTime::fromMSecsSinceEpoch(report.startMs, QTimeZone::utc()).toString(Qt::ISODate));
    out += title.leftJustified(width + 8) + QStringLiteral("   Loss%   Snt   Last    Avg   Best   Wrst  StDev   Javg\n");
    for (const ReportHop& row : report.hops) {
        out += QStringLiteral("%1.|-- ").arg(row.hop, 3) + hostText(row).leftJustified(width);
        out += (QString::number(row.loss, 'f', 1) + u'%').rightJustified(8);
        out += QString::number(row.sent).rightJustified(6);
        for (const auto& column : {row.last, row.avg, row.best, row.worst, row.stdev, row.jitter})
            out += u' ' + msColumn(column);
        out += u'\n';
        for (const HopStats::Responder& other : row.others)
            out += QStringLiteral("    |  `|-- %1 (replies: %2)\n").arg(other.address.toString()).arg(other.received);
    }
    out += QStringLiteral("\n%1\n").arg(report.verdict);
    return out;
}

QString reportCsv(const Report& report)
{
    const bool origins = std::any_of(report.hops.cbegin(), report.hops.cend(), [](const ReportHop& row) {
        return row.asn || row.asName || row.prefix;
    });
    QString out = QStringLiteral("hop,address,name,sent,received,loss,last,avg,best,worst,stdev,jitter,rate_limited,others");
    out += origins ? QStringLiteral(",asn,as_name,prefix\n") : QStringLiteral("\n");
    for (const ReportHop& row : report.hops) {
        QStringList others;
        for (const HopStats::Responder& other : row.others)
            others.append(QStringLiteral("%1=%2").arg(other.address.toString()).arg(other.received));
        QStringList fields{QString::number(row.hop),
                           row.address ? row.address->toString() : QString(),
                           csvField(safeName(row.name.value_or(QString()))),
                           QString::number(row.sent),
                           QString::number(row.received),
                           QString::number(row.loss, 'f', 1),
                           csvNumber(row.last),
                           csvNumber(row.avg),
                           csvNumber(row.best),
                           csvNumber(row.worst),
                           csvNumber(row.stdev),
                           csvNumber(row.jitter),
                           row.rateLimited ? QStringLiteral("true") : QStringLiteral("false"),
                           others.join(u' ')};
        if (origins) {
            fields << (row.asn ? QString::number(*row.asn) : QString()) << csvField(safeName(row.asName.value_or(QString()), true))
                   << csvField(row.prefix.value_or(QString()));
        }
        out += fields.join(u',') + u'\n';
    }
    return out;
}

} // namespace monitor
