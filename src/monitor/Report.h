#pragma once
#include "Verdict.h"

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QString>

#include <optional>

// The monitor's results as a file: text laid out like mtr's report, CSV, and JSON. A report is
// first gathered into plain rows (buildReport), which the three writers only format.
namespace monitor {

// What is known of the network an address belongs to, once it has been looked up.
struct Origin {
    std::optional<quint32> asn;
    QString asName;
    QString prefix;
};

// What the model does not know: the target as typed, the interval, and the names and origins
// of the addresses seen, as the caller looked them up.
struct ReportInfo {
    Target target;
    double intervalSeconds = 1.0;
    QHash<QHostAddress, QString> names;
    QHash<QHostAddress, Origin> origins;
};

struct ReportHop {
    int hop = 0;
    std::optional<QHostAddress> address;   // the main responder; nothing for a silent hop
    std::optional<QString> name;
    int sent = 0;
    int received = 0;
    double loss = 0;                       // percent
    std::optional<double> last, avg, best, worst, stdev, jitter;
    bool rateLimited = false;
    QList<HopStats::Responder> others;     // the other responders, the most frequent first
    // Filled by the caller once AS lookups exist; written only when set.
    std::optional<quint32> asn;
    std::optional<QString> asName;
    std::optional<QString> prefix;
};

struct Report {
    QString target;
    QString address;
    int rounds = 0;
    double intervalSeconds = 1.0;
    qint64 startMs = 0;
    QString verdict;
    QList<ReportHop> hops;
};

Report buildReport(const PathModel& model, const Verdict& verdict, const ReportInfo& info);

// Columns like mtr -r (Loss%, Snt, Last, Avg, Best, Wrst, StDev) with Javg after them; each
// other responder of a hop on a line of its own under the hop, and the verdict at the end.
QString reportText(const Report& report);
// One header line, then one line per hop (RFC 4180 quoting).
QString reportCsv(const Report& report);
// One JSON object: target, address, rounds, interval, verdict, hops.
QByteArray reportJson(const Report& report);

// A name from the network, made safe for a line of text: control, bidirectional and
// blank characters become U+FFFD, so a name can neither hide, reorder nor split a column.
// With `spaces`, plain spaces stay: for a quoted field, where they split nothing.
QString safeName(const QString& name, bool spaces = false);

} // namespace monitor
