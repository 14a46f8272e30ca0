#include "XdgHelpViewer.h"


#include <QFile>
#include <QFileInfo>

#include <limits>

namespace {

// Real desktop files are a few kilobytes; more is not a desktop file.
constexpr qint64 kMaxDesktopFileBytes = 64 * 1024;

bool isViewer(const QString& program, const char* name)
{
    return QFileInfo(program).fileName() == QLatin1String(name);
}

bool takesTopic(const QString& program)
{
    return isViewer(program, "xchm") || isViewer(program, "kchmviewer");
}

// The arguments that stand for the file, with the topic where the viewer takes one.
QStringList viewerFileArgs(const QString& program, const QString& helpFile, const QString& topic)
{
    if (topic.isEmpty())
        return {helpFile};
    const QString page = topic.startsWith(u'/') ? topic : u'/' + topic;
    if (isViewer(program, "xchm"))
        return {QStringLiteral("file:") + helpFile + QStringLiteral("#xchm:") + page};
    if (isViewer(program, "kchmviewer"))
        return {QStringLiteral("-showPage"), page, helpFile};
    return {helpFile};
}

} // namespace

XdgHelpViewer::XdgHelpViewer(XdgDesktop desktop)
    : m_desktop(std::move(desktop))
{
}

QString XdgHelpViewer::registeredViewer() const
{
    // Viewers register under the official type or under its older alias.
    const QStringList ids = m_desktop.defaultApplications(
        {QStringLiteral("application/vnd.ms-htmlhelp"), QStringLiteral("application/x-chm")});
    return ids.value(0).isEmpty() ? ids.value(1) : ids.value(0);
}

bool XdgHelpViewer::isInstalled()
{
    m_viewerId = registeredViewer();
    return !m_viewerId.isEmpty();
}

std::optional<std::pair<DesktopEntry, QString>> XdgHelpViewer::viewerEntry() const
{
    // Each F1 asks isInstalled() first; its answer saves asking xdg-mime again.
    const QString desktopFile = m_desktop.locateDesktopFile(m_viewerId.isEmpty() ? registeredViewer() : m_viewerId);
    QFile file(desktopFile);
    if (desktopFile.isEmpty() || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const std::optional<DesktopEntry> entry = parseDesktopEntry(file.read(kMaxDesktopFileBytes));
    if (!entry)
        return std::nullopt;
    return std::pair(*entry, desktopFile);
}

bool XdgHelpViewer::takesTopics() const
{
    const auto entry = viewerEntry();
    const std::optional<QStringList> exec = entry ? splitExecLine(entry->first.exec) : std::nullopt;
    return exec && takesTopic(exec->first());
}

qint32 XdgHelpViewer::show(qint64 /*ownerWindow*/, const QString& helpFile, int command, const QString& data)
{
    if ((command != kDisplayTopic && command != kKeywordLookup) || helpFile.isEmpty())
        return 0;
    const auto entry = viewerEntry();
    if (!entry)
        return 0;
    const auto& [desktop, desktopFile] = *entry;
    const std::optional<QStringList> exec = splitExecLine(desktop.exec);
    if (!exec)
        return 0;

    // The viewers know no keyword lookup from the command line: an empty keyword opens
    // the file at its default topic, where the viewer's own index is one click away.
    const QString topic = command == kDisplayTopic ? data : QString();
    // An absolute path can never be taken for an option.
    const QString path = QFileInfo(helpFile).absoluteFilePath();
    QStringList args = expandFieldCodes(*exec, viewerFileArgs(exec->first(), path, topic), desktop, desktopFile);
    const QString program = args.isEmpty() ? QString() : args.takeFirst();
    const qint64 pid = program.isEmpty() ? 0 : m_desktop.startDetached(program, args);
    if (pid <= 0)
        return 0;
    return qint32(qMin<qint64>(pid, std::numeric_limits<qint32>::max()));
}
