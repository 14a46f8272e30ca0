#include "XdgDesktop.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>

#include <algorithm>
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
