#pragma once

class QAbstractItemView;

// Qt's accessible tree view (Qt 6.4) registers a new interface for every cell or header a screen
// reader asks it for and never deletes one, not even when its row goes: with a reader on the bus a
// table keeps growing. On each change of rows, and every 2 s while a reader is on, this deletes the
// cells of `view` whose rows are gone and those a newer one for the same place has replaced; when
// the whole table is reset, all of its cells and headers, as Qt's own table view does.
void releaseAccessibleCellsOnChange(QAbstractItemView* view);

// How many registered accessible interfaces are cells or headers of `view`.
int accessibleCellCount(const QAbstractItemView* view);
