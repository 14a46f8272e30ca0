#include "AccessibleCells.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QHash>
#include <QTimer>

#include <algorithm>
#include <climits>

namespace {

// Qt hands out interface ids one after another from here, reusing none while it lives.
constexpr QAccessible::Id kFirstId = QAccessible::Id(INT_MAX) + 1;

// Registered only to learn the next id.
class Probe final : public QAccessibleInterface {
public:
    bool isValid() const override { return false; }
    QObject* object() const override { return nullptr; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessibleInterface* parent() const override { return nullptr; }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QString text(QAccessible::Text) const override { return {}; }
    void setText(QAccessible::Text, const QString&) override {}
    QRect rect() const override { return {}; }
    QAccessible::Role role() const override { return QAccessible::NoRole; }
    QAccessible::State state() const override { return {}; }
};

// The id the next interface will get: every id in use lies below it.
QAccessible::Id nextId()
{
    auto* probe = new Probe;
    const QAccessible::Id id = QAccessible::registerAccessibleInterface(probe);
    QAccessible::deleteAccessibleInterface(id);
    return id;
}

bool isCellOf(QAccessibleInterface* iface, const QAbstractItemView* view)
{
    if (!iface || iface->object())   // cells and headers stand for no object of their own
        return false;
    const QAccessible::Role role = iface->role();
    if (role != QAccessible::Cell && role != QAccessible::TreeItem && role != QAccessible::ColumnHeader
        && role != QAccessible::RowHeader)
        return false;
    QAccessibleInterface* parent = iface->parent();
    return parent && parent->object() == view;
}

// The registered cells of one view. Ids below `from` were looked at before and are not again,
// apart from those kept alive then (`kept`).
class CellSweep : public QObject {
public:
    explicit CellSweep(QAbstractItemView* view) : QObject(view), m_view(view) {}

    void sweep(bool all)
    {
        const QAccessible::Id to = nextId();
        QHash<int, QAccessible::Id> newest;   // by place in the table: the newest of its interfaces
        const auto look = [&](QAccessible::Id id) {
            QAccessibleInterface* iface = QAccessible::accessibleInterface(id);
            if (!isCellOf(iface, m_view))
                return;
            if (all || !iface->isValid()) {
                QAccessible::deleteAccessibleInterface(id);
                return;
            }
            // Ids grow with age: an older interface for the same place is one the reader has replaced.
            QAccessible::Id& kept = newest[iface->parent()->indexOfChild(iface)];
            if (kept)
                QAccessible::deleteAccessibleInterface(kept);
            kept = id;
        };
        for (const QAccessible::Id id : std::as_const(m_kept))
            look(id);
        for (QAccessible::Id id = std::max(m_from, kFirstId); id < to; ++id)
            look(id);
        m_kept = newest.values();
        std::sort(m_kept.begin(), m_kept.end());
        m_from = to;
    }

private:
    QAbstractItemView* m_view;
    QAccessible::Id m_from = kFirstId;
    QList<QAccessible::Id> m_kept;
};

} // namespace

void releaseAccessibleCellsOnChange(QAbstractItemView* view)
{
    auto* sweep = new CellSweep(view);
    QAbstractItemModel* model = view->model();
    // Cheap without a reader: only the ids handed out since the last change are looked at.
    // Queued: the view has taken in the change, and a reader's call in flight has its answer.
    QObject::connect(model, &QAbstractItemModel::modelReset, sweep, [sweep] { sweep->sweep(true); }, Qt::QueuedConnection);
    QObject::connect(model, &QAbstractItemModel::rowsRemoved, sweep, [sweep] { sweep->sweep(false); },
                     Qt::QueuedConnection);
    // A reader reviewing a table that does not change gets a new interface at each read too.
    auto* timer = new QTimer(sweep);
    QObject::connect(timer, &QTimer::timeout, sweep, [sweep] {
        if (QAccessible::isActive())
            sweep->sweep(false);
    });
    timer->start(2000);
}

int accessibleCellCount(const QAbstractItemView* view)
{
    int count = 0;
    for (QAccessible::Id id = kFirstId, to = nextId(); id < to; ++id)
        count += isCellOf(QAccessible::accessibleInterface(id), view);
    return count;
}
