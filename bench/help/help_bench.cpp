// F1 on a real desktop of the benchmark's own (xdg-utils, stand-in viewer and browser): the longest
// the window goes without running a 5 ms timer during a press, and how long until the viewer or the
// browser runs. The peer is a bare `xdg-open page` on the same desktop. No network traffic.
//   help_bench [RUNS]   builds the desktop in a temporary folder, with a copy of this program
//                       beside the help pages (the window looks for them in its own folder), and
//                       runs the copy there with --desktop
#include "app/Form1.h"
#include "app/RealPlatform.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QKeyEvent>
#include <QProcess>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

void write(const QString& path, const QByteArray& text, bool executable = false)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        std::abort();
    if (executable)
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

// ---- the desktop ----

int runOnDesktop(int runs)
{
    QTemporaryDir root;
    for (const char* sub : {"prog/help", "bin", "out", "home", "data/applications", "config", "dirs"})
        QDir().mkpath(root.filePath(QString::fromLatin1(sub)));
    // The file-type database, without the machine's registered applications.
    QFile::link(QStringLiteral("/usr/share/mime"), root.filePath(QStringLiteral("dirs/mime")));
    write(root.filePath(QStringLiteral("prog/Pathlark.chm")), "ITSF");
    for (const char* page : {"mainpathlark", "ping", "trace", "dns", "whois"})
        write(root.filePath(QStringLiteral("prog/help/%1.htm").arg(QLatin1String(page))),
              "<!DOCTYPE html>\n<title>Help</title><p>Help</p>\n");
    const QString copy = root.filePath(QStringLiteral("prog/help_bench"));
    if (!QFile::copy(QCoreApplication::applicationFilePath(), copy))
        return 1;

    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("PATH"), root.filePath(QStringLiteral("bin")) + u':' + env.value(QStringLiteral("PATH")));
    env.insert(QStringLiteral("HOME"), root.filePath(QStringLiteral("home")));
    env.insert(QStringLiteral("XDG_DATA_HOME"), root.filePath(QStringLiteral("data")));
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), root.filePath(QStringLiteral("config")));
    env.insert(QStringLiteral("XDG_DATA_DIRS"), root.filePath(QStringLiteral("dirs")));
    env.insert(QStringLiteral("XDG_CONFIG_DIRS"), root.filePath(QStringLiteral("dirs")));
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), root.path());
    // xdg-open asks the file-type associations only on a graphical desktop.
    env.insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("X-Generic"));
    env.insert(QStringLiteral("DISPLAY"), QStringLiteral(":pathlark-bench"));
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    QProcess child;
    child.setProcessEnvironment(env);
    child.setProcessChannelMode(QProcess::ForwardedChannels);
    child.start(copy, {QStringLiteral("--desktop"), root.path(), QString::number(runs)});
    child.waitForFinished(300000);
    return child.exitStatus() == QProcess::NormalExit ? child.exitCode() : 1;
}

// Registers a stand-in `name` for `type` (none when empty); it leaves out/NAME when it runs.
void registerApplication(const QDir& root, const QString& type, const QString& name, const QString& args)
{
    const QString program = root.filePath(QStringLiteral("bin/") + name);
    write(program, "#!/bin/sh\n: > '" + root.filePath(QStringLiteral("out/") + name).toUtf8() + "'\n", true);
    write(root.filePath(QStringLiteral("data/applications/pl-%1.desktop").arg(name)),
          "[Desktop Entry]\nType=Application\nName=x\nExec=" + (program + u' ' + args).toUtf8() + "\n");
    const QString association = type.isEmpty() ? QString() : type + QStringLiteral("=pl-%1.desktop").arg(name);
    write(root.filePath(QStringLiteral("config/mimeapps.list")),
          "[Default Applications]\n" + association.toUtf8() + "\n");
}

// ---- the measurements ----

struct Timing {
    std::vector<double> stall;   // longest gap between timer ticks, ms
    std::vector<double> shown;   // press until the viewer or browser runs, ms
};

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

double maximum(const std::vector<double>& v)
{
    return v.empty() ? 0 : *std::max_element(v.begin(), v.end());
}

void report(const char* what, const Timing& t)
{
    std::printf("%-42s stall median %6.1f ms  max %6.1f ms", what, median(t.stall), maximum(t.stall));
    if (!t.shown.empty())
        std::printf("   shown median %6.1f ms  max %6.1f ms", median(t.shown), maximum(t.shown));
    std::printf("   (n=%zu)\n", t.stall.size());
}

// Runs the event loop for `ms`, as the program's own loop would.
void spin(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

int measureOnDesktop(const QDir& root, int runs)
{
    RealPlatform platform;
    Form1 form(platform.platform());
    form.Form_Load();
    form.show();
    form.findChild<QTabWidget*>(QStringLiteral("SSTab1"))->setCurrentIndex(1);
    const auto pressF1 = [&] {
        QWidget* target = form.focusWidget() ? form.focusWidget() : &form;
        QKeyEvent press(QEvent::KeyPress, Qt::Key_F1, Qt::NoModifier);
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_F1, Qt::NoModifier);
        QApplication::sendEvent(target, &press);
        QApplication::sendEvent(target, &release);
    };
    // A user who reads the message presses OK.
    int messages = 0;
    QTimer okPresser;
    QObject::connect(&okPresser, &QTimer::timeout, [&] {
        if (QWidget* modal = QApplication::activeModalWidget()) {
            modal->close();
            ++messages;
        }
    });
    okPresser.start(20);

    QElapsedTimer sinceTick;
    double worst = 0;
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        worst = std::max(worst, sinceTick.nsecsElapsed() / 1e6);
        sinceTick.restart();
    });
    sinceTick.start();
    ticker.start(5);

    // Runs `press` `runs` times; with `recorder`, also waits for that stand-in to run.
    const auto measure = [&](const QString& recorder, const std::function<void()>& press) {
        Timing t;
        for (int i = 0; i < runs; ++i) {
            spin(20);
            worst = 0;
            sinceTick.restart();
            QElapsedTimer clock;
            clock.start();
            press();
            if (!recorder.isEmpty()) {
                QFile record(root.filePath(QStringLiteral("out/") + recorder));
                while (!record.exists() && clock.elapsed() < 15000)
                    spin(2);
                t.shown.push_back(clock.nsecsElapsed() / 1e6);
                if (!record.remove()) {
                    std::fprintf(stderr, "%s did not start\n", qPrintable(recorder));
                    std::exit(1);
                }
            }
            spin(10);   // lets the tick after the press arrive
            t.stall.push_back(worst);
        }
        return t;
    };

    report("baseline: the timer alone, no press", measure({}, [] {}));
    registerApplication(root, QStringLiteral("application/vnd.ms-htmlhelp"), QStringLiteral("xchm"),
                        QStringLiteral("%f"));
    report("F1 -> compiled-help viewer", measure(QStringLiteral("xchm"), pressF1));
    registerApplication(root, QStringLiteral("text/html"), QStringLiteral("browser"), QStringLiteral("%u"));
    report("F1 -> browser (xdg-open)", measure(QStringLiteral("browser"), pressF1));
    const QString page = root.filePath(QStringLiteral("prog/help/trace.htm"));
    report("peer: xdg-open page from the command line", measure(QStringLiteral("browser"), [&] {
               QProcess::startDetached(QStringLiteral("xdg-open"), {page});
           }));
    registerApplication(root, {}, QStringLiteral("browser"), QStringLiteral("%u"));
    report("F1 -> no browser: the message", measure({}, pressF1));
    if (messages != runs) {
        std::fprintf(stderr, "%d messages for %d presses without a browser\n", messages, runs);
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 3 && QByteArray(argv[1]) == "--desktop") {
        QApplication app(argc, argv);
        return measureOnDesktop(QDir(QString::fromLocal8Bit(argv[2])), std::max(1, std::atoi(argv[3])));
    }
    QCoreApplication app(argc, argv);
    return runOnDesktop(argc > 1 ? std::max(1, std::atoi(argv[1])) : 10);
}
