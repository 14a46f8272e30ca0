#include "MonitorTable.h"

#include "AccessibleCells.h"
#include "AsnText.h"
#include "DisplayText.h"
#include "ResultsTable.h"
#include "monitor/PathMonitor.h"

#include <QHeaderView>
#include <QStyledItemDelegate>

namespace {

const QString kDash = QStringLiteral("-");

QString ms(const std::optional<double>& value)
{
    return value ? QString::number(*value, 'f', 1) : kDash;
}

// "name (address)" as both are known; a name from the network shown as one neutral line.
QString hostText(const QString& name, const QHostAddress& address)
{
    return name.isEmpty() ? address.toString() : QStringLiteral("%1 (%2)").arg(oneLineText(name), address.toString());
}

} // namespace

MonitorTable::MonitorTable(QWidget* parent)
    : QTreeWidget(parent)
{
    setObjectName(QStringLiteral("MonitorTable"));
    setAccessibleName(tr("Hops"));
    setColumnCount(ColumnCount);
    setHeaderLabels({tr("Hop"), tr("Host"), tr("Loss %"), tr("Sent"), tr("Recv"), tr("Last"), tr("Avg"), tr("Best"),
                     tr("Worst"), tr("StDev"), tr("Jitter"), tr("AS")});
    setUniformRowHeights(true);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setAllColumnsShowFocus(true);
    setItemDelegate(newCellDelegate(this));
    header()->setStretchLastSection(false);
    header()->setSectionResizeMode(Host, QHeaderView::Stretch);
    for (int c = Loss; c < ColumnCount; ++c)
        setColumnWidth(c, fontMetrics().horizontalAdvance(QStringLiteral("00000.0")) + 8);
    setColumnWidth(Hop, fontMetrics().horizontalAdvance(QStringLiteral("Hop00")));
    setColumnWidth(As, fontMetrics().horizontalAdvance(QStringLiteral("AS4294967295")) + 8);
    releaseAccessibleCellsOnChange(this);
    connect(this, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* item) {
        while (item && item->parent())
            item = item->parent();
        const int picked = item ? indexOfTopLevelItem(item) + 1 : 0;
        if (picked == m_picked)
            return;
        m_picked = picked;
        if (chosenHop() != m_shownHop)
            emit chosenHopChanged(m_shownHop = chosenHop());
    });
}

QString MonitorTable::rateLimitNote()
{
    return tr("This router limits the answers it sends: its loss is not loss on the path, "
              "because later hops receive every probe it forwards.");
}

int MonitorTable::chosenHop() const
{
    return m_picked ? m_picked : topLevelItemCount();
}

QStringList MonitorTable::rowText(int hop) const
{
    QStringList cells;
    if (const QTreeWidgetItem* item = topLevelItem(hop - 1)) {
        for (int c = 0; c < ColumnCount; ++c)
            cells << item->text(c);
    }
    return cells;
}

void MonitorTable::showMonitor(const monitor::PathMonitor& monitor, const asn::AsnLookup* origins)
{
    const monitor::PathModel& model = monitor.model();
    const int hops = model.hopCount();
    while (topLevelItemCount() > hops)
        delete takeTopLevelItem(topLevelItemCount() - 1);
    while (topLevelItemCount() < hops)
        new QTreeWidgetItem(this);
    for (int hop = 1; hop <= hops; ++hop)
        fillRow(topLevelItem(hop - 1), monitor, hop, origins);
    if (m_picked > hops)
        m_picked = 0;
    if (chosenHop() != m_shownHop)
        emit chosenHopChanged(m_shownHop = chosenHop());
}

void MonitorTable::fillRow(QTreeWidgetItem* item, const monitor::PathMonitor& monitor, int hop,
                           const asn::AsnLookup* origins)
{
    const monitor::HopStats& stats = monitor.model().hop(hop);
    const QList<monitor::HopStats::Responder> responders = stats.responders();
    const QHostAddress main = stats.mainResponder();
    const QStringList cells{
        QString::number(hop),
        main.isNull() ? tr("(no answer)") : hostText(monitor.nameOf(main), main),
        QString::number(stats.lossPercent(), 'f', 1),
        QString::number(stats.sent()),
        QString::number(stats.received()),
        ms(stats.last()), ms(stats.avg()), ms(stats.best()), ms(stats.worst()), ms(stats.stdev()), ms(stats.jitter()),
        QString(),
    };
    const std::optional<asn::Origin> origin = origins && !main.isNull() ? origins->originOf(main) : std::nullopt;
    // A router that limits its answers looks apart from real loss: grey, slanted, and says why.
    const bool limited = monitor.verdict().rateLimited(hop);
    QFont font = this->font();
    font.setItalic(limited);
    for (int c = 0; c < ColumnCount; ++c) {
        item->setText(c, cells[c]);
        item->setFont(c, font);
        item->setForeground(c, limited ? palette().brush(QPalette::Disabled, QPalette::Text) : palette().text());
        item->setToolTip(c, limited ? rateLimitNote() : QString());
        item->setTextAlignment(c, (c == Host || c == As ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
    }

    item->setText(As, asColumn(origin));
    if (origin && !limited)
        item->setToolTip(As, originTip(*origin));

    // The other routers that answered here (load balancing, or a path that changed), each with its share.
    const int others = int(responders.size()) - 1;
    while (item->childCount() > std::max(0, others))
        delete item->takeChild(item->childCount() - 1);
    for (int i = 1; i < responders.size(); ++i) {
        QTreeWidgetItem* child = i - 1 < item->childCount() ? item->child(i - 1) : new QTreeWidgetItem(item);
        const monitor::HopStats::Responder& r = responders[i];
        const double share = stats.received() ? 100.0 * r.received / stats.received() : 0.0;
        child->setText(Host, tr("%1: %2% of replies").arg(hostText(monitor.nameOf(r.address), r.address),
                                                          QString::number(share, 'f', 0)));
        child->setText(Recv, QString::number(r.received));
        child->setTextAlignment(Recv, Qt::AlignRight | Qt::AlignVCenter);
    }
    if (others > 0)
        item->setExpanded(true);
}
