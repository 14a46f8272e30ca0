#include "ResultsTable.h"

#include "AccessibleCells.h"
#include "ControlTable.h"

#include <QHeaderView>

ResultsTable::ResultsTable(QWidget* parent)
    : QTreeWidget(parent)
{
    setRootIsDecorated(false);
    setUniformRowHeights(true);
    setItemsExpandable(false);
    setSelectionMode(QAbstractItemView::ExtendedSelection);   // rows to copy or save
    setAllColumnsShowFocus(true);
    header()->setStretchLastSection(false);
    header()->setMinimumSectionSize(1);   // the narrow "Hop" column is narrower than the style's minimum
    header()->setSectionsMovable(false);
    // An IPv6 address is wider than its column: its middle gives way, and its tooltip has it whole.
    setTextElideMode(Qt::ElideMiddle);
    releaseAccessibleCellsOnChange(this);
}

void ResultsTable::addColumns(std::span<const ColumnSpec> columns)
{
    setColumnCount(int(columns.size()));
    QStringList headers;
    for (const ColumnSpec& c : columns) {
        m_keys << QString::fromLatin1(c.key);
        headers << QString::fromLatin1(c.header);
    }
    setHeaderLabels(headers);
    for (int i = 0; i < int(columns.size()); ++i)
        setColumnWidth(i, twipsToPixels(columns[i].widthTwips));
}

int ResultsTable::columnByKey(const QString& key) const
{
    return int(m_keys.indexOf(key));
}

void ResultsTable::setColumnHeader(const QString& key, const QString& text)
{
    const int column = columnByKey(key);
    if (column >= 0)
        headerItem()->setText(column, text);
}

QString ResultsTable::columnHeader(const QString& key) const
{
    const int column = columnByKey(key);
    return column >= 0 ? headerItem()->text(column) : QString();
}

void ResultsTable::addRow(const QString& text, const QStringList& subItems)
{
    auto* item = new QTreeWidgetItem(this);   // owned by the table
    item->setText(0, text);
    for (int i = 0; i < subItems.size() && i + 1 < columnCount(); ++i) {
        item->setText(i + 1, subItems[i]);
        item->setToolTip(i + 1, subItems[i]);
    }
}

QStringList ResultsTable::row(int index) const
{
    QStringList cells;
    if (const QTreeWidgetItem* item = topLevelItem(index)) {
        for (int i = 0; i < columnCount(); ++i)
            cells << item->text(i);
    }
    return cells;
}
