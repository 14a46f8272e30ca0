#pragma once
#include <QTreeWidget>

#include <span>

struct ColumnSpec;
class QStyledItemDelegate;

// Draws each cell elided at the end that matters (numbers keep their end, texts their start) and
// answers its tooltip: the cell's own note if it has one, and the whole text of a cut cell.
QStyledItemDelegate* newCellDelegate(QObject* parent);

// The results list in report view: keyed columns, rows appended at the end.
class ResultsTable final : public QTreeWidget {
    Q_OBJECT
public:
    explicit ResultsTable(QWidget* parent);

    void addColumns(std::span<const ColumnSpec> columns);
    // -1 when no column has that key.
    int columnByKey(const QString& key) const;
    void setColumnHeader(const QString& key, const QString& text);
    QString columnHeader(const QString& key) const;

    // Appends a row: `text` in the first column, `subItems` in the columns after it, each as
    // oneLineText() shows it, which is also what a copy gives.
    void addRow(const QString& text, const QStringList& subItems);
    QStringList row(int index) const;
    // Which end of a cell gives way when it is too narrow: numbers keep their end, texts their start.
    Qt::TextElideMode elision(int row, int column) const;

private:
    QStringList m_keys;
};
