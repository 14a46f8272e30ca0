#include "QtMessageBox.h"

#include <QMessageBox>

void QtMessageBox::show(QWidget* owner, const QString& prompt, int flags, const QString& title)
{
    QMessageBox box(flags == kExclamation ? QMessageBox::Warning : QMessageBox::NoIcon, title, prompt,
                    QMessageBox::Ok, owner);
    // Prompts carry what the user typed: never read as markup.
    box.setTextFormat(Qt::PlainText);
    box.exec();
}
