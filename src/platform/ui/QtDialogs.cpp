#include "QtDialogs.h"

#include <QCursor>
#include <QDir>
#include <QFileDialog>
#include <QGuiApplication>
#include <QMessageBox>

void QtMessageBox::show(QWidget* owner, const QString& prompt, int flags, const QString& title)
{
    QMessageBox box(flags == kExclamation ? QMessageBox::Warning : QMessageBox::NoIcon, title, prompt,
                    QMessageBox::Ok, owner);
    // Prompts carry what the user typed: never read as markup.
    box.setTextFormat(Qt::PlainText);
    box.exec();
}

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

QString QtFileDialog::saveFileName(QWidget* owner, const QString& title, const QString& suggestedName)
{
    return QFileDialog::getSaveFileName(owner, title, QDir::home().filePath(suggestedName),
                                        QObject::tr("Text files (*.txt);;All files (*)"));
}

QString QtFileDialog::saveFileNameAs(QWidget* owner, const QString& title, const QString& suggestedName,
                                     const QStringList& filters, int& chosen)
{
    QString selected = filters.value(chosen);
    const QString path = QFileDialog::getSaveFileName(owner, title, QDir::home().filePath(suggestedName),
                                                      filters.join(QStringLiteral(";;")), &selected);
    if (const qsizetype index = filters.indexOf(selected); index >= 0)
        chosen = int(index);
    return path;
}
