#pragma once
#include <QTreeWidget>

namespace asn {
class AsnLookup;
}
namespace monitor {
class PathMonitor;
}

// The monitor's table: one row per hop (Hop, Host, Loss %, Sent, Recv, Last, Avg, Best, Worst,
// StDev, Jitter, AS), the other routers that answered at a hop as rows under it with their share.
// Rows are kept and rewritten in place each round, so the selection and the scroll stay put.
class MonitorTable final : public QTreeWidget {
    Q_OBJECT
public:
    enum Column { Hop, Host, Loss, Sent, Recv, Last, Avg, Best, Worst, StDev, Jitter, As, ColumnCount };

    explicit MonitorTable(QWidget* parent);

    // With `origins`, each hop's AS as far as known (its prefix and name in the cell's tooltip).
    void showMonitor(const monitor::PathMonitor& monitor, const asn::AsnLookup* origins = nullptr);
    // The hop the chart follows: the one the user picked, else the last row (the target).
    int chosenHop() const;
    // A row as its cells read, for tests and copies.
    QStringList rowText(int hop) const;

    static QString rateLimitNote();

signals:
    void chosenHopChanged(int hop);

private:
    void fillRow(QTreeWidgetItem* item, const monitor::PathMonitor& monitor, int hop, const asn::AsnLookup* origins);

    int m_picked = 0;   // 0: follow the target
    int m_shownHop = 0;
};
