#include "QtBusyPointer.h"

#include <QCursor>
#include <QGuiApplication>

QtBusyPointer::~QtBusyPointer()
{
    setBusy(false);
}

void QtBusyPointer::setBusy(bool busy)
{
    // Qt's override cursor is a stack; keep exactly one entry on it while busy.
    if (busy == m_busy)
        return;
    m_busy = busy;
    if (busy)
        QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
    else
        QGuiApplication::restoreOverrideCursor();
}
