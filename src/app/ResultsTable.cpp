#include "ResultsTable.h"

#include "AccessibleCells.h"
#include "ControlTable.h"
#include "DisplayText.h"

#include <QHeaderView>
#include <QHelpEvent>
#include <QRegularExpression>
#include <QStyledItemDelegate>
#include <QToolTip>

namespace {

// A count, a time or a size, with its unit: cut, it keeps its end, where the digits that
// matter are; any other text keeps its start, so a sentence still reads as one.
Qt::TextElideMode elisionFor(const QString& text)
{
    static const QRegularExpression number(QStringLiteral("^[<>]?\\d+([.,]\\d+)?( ?[a-z]{1,2})?$"));
    return number.match(text).hasMatch() ? Qt::ElideLeft : Qt::ElideRight;
}

// Draws each cell elided at the end that matters, and shows the whole text of a cut cell
// in its tooltip.
class CellDelegate final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override
    {
        if (event->type() != QEvent::ToolTip)
            return QStyledItemDelegate::helpEvent(event, view, option, index);
        QStyleOptionViewItem cell = option;
        initStyleOption(&cell, index);
        // A cell may carry a note of its own (a row marked for a reason); the whole text follows it when cut.
        if (const QString note = index.data(Qt::ToolTipRole).toString(); !note.isEmpty()) {
            const QString whole = isCut(cell, view) ? QStringLiteral(" — ") + cell.text : QString();
            QToolTip::showText(event->globalPos(), wholeTextTip(note + whole), view->viewport(), option.rect);
            return true;
        }
        answerToolTip(event, view->viewport(), cell.text, isCut(cell, view), option.rect);
        return true;
    }

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        option->textElideMode = elisionFor(option->text);
    }

private:
    // As the style lays the text out: inside the cell's text rectangle, less its margins.
    static bool isCut(const QStyleOptionViewItem& cell, const QWidget* view)
    {
        const QStyle* style = view->style();
        const int margin = style->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, view) + 1;
        const QRect text = style->subElementRect(QStyle::SE_ItemViewItemText, &cell, view);
        return cell.fontMetrics.horizontalAdvance(cell.text) > text.width() - 2 * margin;
    }
};

} // namespace

QStyledItemDelegate* newCellDelegate(QObject* parent)
{
    return new CellDelegate(parent);
}

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
    setItemDelegate(new CellDelegate(this));
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
    item->setText(0, oneLineText(text));
    for (int i = 0; i < subItems.size() && i + 1 < columnCount(); ++i)
        item->setText(i + 1, oneLineText(subItems[i]));
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

Qt::TextElideMode ResultsTable::elision(int row, int column) const
{
    const QTreeWidgetItem* item = topLevelItem(row);
    return elisionFor(item ? item->text(column) : QString());
}
