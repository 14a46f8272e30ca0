#include "QtMessageBox.h"

#include <QMessageBox>

void QtMessageBox::show(QWidget* owner, const QString& prompt, int flags, const QString& title)
{
    QMessageBox box(flags == kExclamation ? QMessageBox::Warning : QMessageBox::NoIcon, title, prompt,
                    QMessageBox::Ok, owner);
    box.exec();
}
