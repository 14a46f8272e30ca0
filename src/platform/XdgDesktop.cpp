#include "Desktop.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

namespace {

// xdg-mime is a short script; a desktop that keeps it longer than this has no answer for us.
constexpr int kQueryTimeoutMs = 5000;
// A killed query is gone within milliseconds; this only bounds the reaping.
constexpr int kReapTimeoutMs = 500;
constexpr qsizetype kMaxAnswerBytes = 4096;
constexpr qsizetype kMaxDesktopIdLength = 255;

bool isPlausibleDesktopId(const QString& id)
{
    if (id.isEmpty() || id.size() > kMaxDesktopIdLength || !id.endsWith(QLatin1String(".desktop"))
        || id.startsWith(u'.') || id.contains(u'/'))
        return false;
    for (QChar c : id) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            return false;
    }
    return true;
}

} // namespace

XdgDesktop::XdgDesktop(std::optional<QProcessEnvironment> environment)
    : m_environment(std::move(environment))
{
}

QProcessEnvironment XdgDesktop::environment() const
{
    return m_environment ? *m_environment : QProcessEnvironment::systemEnvironment();
}

QString XdgDesktop::defaultApplication(const QString& mimeType) const
{
    return defaultApplications({mimeType}).value(0);
}

QStringList XdgDesktop::defaultApplications(const QStringList& mimeTypes) const
{
    // xdg-mime forks a few dozen helpers per query: run the queries side by side, and wait
    // for them in an event loop so the window keeps painting and taking input meanwhile.
    const QProcessEnvironment env = environment();
    std::vector<std::unique_ptr<QProcess>> queries;
    QEventLoop loop;
    const auto allDone = [&] {
        return std::all_of(queries.begin(), queries.end(),
                           [](const auto& query) { return query->state() == QProcess::NotRunning; });
    };
    for (const QString& mimeType : mimeTypes) {
        auto& query = queries.emplace_back(std::make_unique<QProcess>());
        query->setProcessEnvironment(env);
        query->setStandardInputFile(QProcess::nullDevice());
        query->setStandardErrorFile(QProcess::nullDevice());
        // Covers both a finished query and one that failed to start.
        QObject::connect(query.get(), &QProcess::stateChanged, &loop, [&](QProcess::ProcessState state) {
            if (state == QProcess::NotRunning && allDone())
                loop.quit();
        });
        query->start(QStringLiteral("xdg-mime"), {QStringLiteral("query"), QStringLiteral("default"), mimeType},
                     QIODevice::ReadOnly);
    }
    if (!allDone()) {
        QTimer::singleShot(kQueryTimeoutMs, &loop, &QEventLoop::quit);
        loop.exec();
    }
    QStringList answers;
    for (const auto& query : queries) {
        // Unfinished: timed out, or the program is quitting and left the loop early.
        if (query->state() != QProcess::NotRunning) {
            query->kill();
            query->waitForFinished(kReapTimeoutMs);
            answers << QString();
            continue;
        }
        if (query->error() == QProcess::FailedToStart || query->exitStatus() != QProcess::NormalExit
            || query->exitCode() != 0) {
            answers << QString();
            continue;
        }
        const QByteArray answer = query->readAllStandardOutput().left(kMaxAnswerBytes);
        answers << QString::fromUtf8(answer.left(answer.indexOf('\n'))).trimmed();
    }
    return answers;
}

QStringList XdgDesktop::dataFolders(const QProcessEnvironment& env) const
{
    QStringList folders;
    const QString dataHome = env.value(QStringLiteral("XDG_DATA_HOME"));
    if (!dataHome.isEmpty())
        folders << dataHome;
    else if (const QString home = env.value(QStringLiteral("HOME")); !home.isEmpty())
        folders << home + QStringLiteral("/.local/share");
    const QString dataDirs = env.value(QStringLiteral("XDG_DATA_DIRS"));
    if (!dataDirs.isEmpty())
        folders << dataDirs.split(u':', Qt::SkipEmptyParts);
    else
        folders << QStringLiteral("/usr/local/share") << QStringLiteral("/usr/share");
    return folders;
}

QString XdgDesktop::locateDesktopFile(const QString& desktopId) const
{
    if (!isPlausibleDesktopId(desktopId))
        return {};
    // An id "vendor-app.desktop" may also stand for the file vendor/app.desktop.
    QStringList names{desktopId};
    if (const qsizetype dash = desktopId.indexOf(u'-'); dash > 0)
        names << desktopId.left(dash) + u'/' + desktopId.mid(dash + 1);
    for (const QString& folder : dataFolders(environment())) {
        for (const QString& name : names) {
            const QFileInfo candidate(folder + QStringLiteral("/applications/") + name);
            if (candidate.isFile())
                return candidate.absoluteFilePath();
        }
    }
    return {};
}

qint64 XdgDesktop::startDetached(const QString& program, const QStringList& arguments) const
{
    const QProcessEnvironment env = environment();
    QString executable = program;
    if (!program.contains(u'/')) {
        executable = QStandardPaths::findExecutable(
            program, env.value(QStringLiteral("PATH")).split(u':', Qt::SkipEmptyParts));
        if (executable.isEmpty())
            return 0;
    }
    QProcess process;
    process.setProgram(executable);
    process.setArguments(arguments);
    process.setProcessEnvironment(env);
    process.setStandardInputFile(QProcess::nullDevice());
    qint64 pid = 0;
    if (!process.startDetached(&pid))
        return 0;
    return pid;
}

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
