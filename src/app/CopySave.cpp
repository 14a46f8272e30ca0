#include "CopySave.h"

#include "Module1.h"
#include "ResultsTable.h"
#include "platform/ui/Dialogs.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QSaveFile>

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace {

QAction* addAction(QWidget* view, const QString& text, const QKeySequence& keys, std::function<void()> act)
{
    auto* action = new QAction(text, view);
    action->setShortcut(keys);
    action->setShortcutContext(Qt::WidgetShortcut);   // the page's own keys stay as they are
    QObject::connect(action, &QAction::triggered, view, std::move(act));
    view->addAction(action);
    return action;
}

} // namespace

// Unbuffered, so a full disk is told by write() itself:
// a failure first seen when a buffer is flushed at commit() would still replace the old file.
QString saveWhole(const QString& path, const QByteArray& bytes)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return file.errorString();
    // write() may take part of the bytes and say nothing; asked for the rest, it says why not.
    for (qsizetype done = 0; done < bytes.size();) {
        const qint64 n = file.write(bytes.constData() + done, bytes.size() - done);
        if (n <= 0)
            return file.errorString();
        done += n;
    }
    // Some file systems tell of a full disk only when the data goes out to it; commit() would not say.
    if (::fsync(file.handle()) != 0)
        return QString::fromLocal8Bit(std::strerror(errno));
    return file.commit() ? QString() : file.errorString();
}

QString tableText(const ResultsTable& table, bool selectedOnly)
{
    QStringList lines;
    QStringList headers;
    for (int column = 0; column < table.columnCount(); ++column)
        headers << table.headerItem()->text(column);
    lines << headers.join(u'\t');
    for (int row = 0; row < table.topLevelItemCount(); ++row) {
        if (!selectedOnly || table.topLevelItem(row)->isSelected())
            lines << table.row(row).join(u'\t');
    }
    return lines.join(u'\n') + u'\n';
}

void addCopyAndSave(QAbstractScrollArea* view, std::function<QString(bool all)> text, FileDialog& files,
                    MessageBox& messages)
{
    view->setContextMenuPolicy(Qt::ActionsContextMenu);
    const auto copy = [text](bool all) { QApplication::clipboard()->setText(text(all)); };
    addAction(view, QObject::tr("&Copy"), QKeySequence::Copy, [copy] { copy(false); });
    addAction(view, QObject::tr("Copy &All"), {}, [copy] { copy(true); });
    addAction(view, QObject::tr("Select &All"), QKeySequence::SelectAll, [view] {
        QMetaObject::invokeMethod(view, "selectAll");
    });
    addAction(view, QObject::tr("&Save As…"), {}, [view, text, &files, &messages] {
        const QString path = files.saveFileName(view->window(), QObject::tr("Save Results"),
                                                kProgramTitle + QObject::tr(" results.txt"));
        if (path.isEmpty())
            return;
        if (const QString failure = saveWhole(path, text(true).toUtf8()); !failure.isEmpty())
            messages.show(view->window(), QObject::tr("Could not save %1: %2").arg(path, failure),
                          MessageBox::kExclamation, kProgramTitle);
    });
}
