#include "XdgShell.h"

#include <QDir>
#include <QFileInfo>
#include <QMimeDatabase>

XdgShell::XdgShell(XdgDesktop desktop)
    : m_desktop(std::move(desktop))
{
}

qint32 XdgShell::open(qint64 /*ownerWindow*/, const QString& path)
{
    if (path.isEmpty())
        return kFileNotFound;
    const QFileInfo document(path);
    if (!document.isFile())
        return document.absoluteDir().exists() ? kFileNotFound : kPathNotFound;
    // xdg-open falls back to guessing a browser when nothing is registered; the status
    // must tell the user whether the desktop can show the page at all.
    const QString absolute = document.absoluteFilePath();
    const QString mimeType = QMimeDatabase().mimeTypeForFile(absolute).name();
    if (m_desktop.defaultApplication(mimeType).isEmpty())
        return kNoAssociation;
    return m_desktop.startDetached(QStringLiteral("xdg-open"), {absolute}) > 0 ? kOpened : kCouldNotStart;
}
