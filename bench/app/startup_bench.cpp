// Start-up and shut-down of the program, each run a fresh process (this binary, running the
// program's own start-up code):
//   startup_bench [RUNS]        time from start to the window's first paint, and peak memory
//   startup_bench exit KIND [RUNS]
//                               time from closing the window, with work of KIND in flight, to the
//                               process gone. KIND: whois, lookup, trace, help (see run.sh for where
//                               each runs: the work waits on the lab's dead name server or path)
#include "app/Application.h"
#include "app/Form1.h"
#include "app/MultiLineTextBox.h"
#include "platform/IcmpSocket.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QThread>
#include <QTimer>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;   // CLOCK_MONOTONIC: the same in parent and child

long long nowNs()
{
    return static_cast<long long>(Clock::now().time_since_epoch().count());
}

// ---- the children: the program itself, with a hook ----

// Reports the first paint of the window on stdout, then idles a while and quits.
class FirstPaintReporter : public QObject {
public:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint && !m_done) {
            m_done = true;
            std::fputs("painted\n", stdout);
            std::fflush(stdout);
            QTimer::singleShot(1500, qApp, &QCoreApplication::quit);
        }
        return false;
    }

private:
    bool m_done = false;
};

int startupChild(int argc, char** argv)
{
    FirstPaintReporter reporter;
    return runApplication(argc, argv, [&](Form1& form) { form.installEventFilter(&reporter); });
}

template <typename T>
T* control(Form1& form, const char* name)
{
    return form.findChild<T*>(QString::fromLatin1(name));
}

// Types `text` into the box on `page` and presses `button`, as a user does.
void start(Form1& form, int page, const char* box, const QString& text, const char* button)
{
    control<QTabWidget>(form, "SSTab1")->setCurrentIndex(page);
    control<QLineEdit>(form, box)->setText(text);
    control<QPushButton>(form, button)->click();
}

// Starts the work of `kind` 200 ms after start-up and closes the window 300 ms later; says on
// stdout when it closes and whether the work was still in flight.
int exitChild(int argc, char** argv, const QString& kind)
{
    return runApplication(argc, argv, [kind](Form1& form) {
        // Set first: an F1 waits on the desktop in an event loop of its own, and the close comes in it.
        QTimer::singleShot(500, &form, [&form, kind] {
            bool inFlight = false;
            if (kind == QLatin1String("whois")) {
                inFlight = !control<QPushButton>(form, "Command1")->isEnabled();
            } else if (kind == QLatin1String("trace")) {
                inFlight = !control<QPushButton>(form, "cmdTraceroute")->isEnabled();
            } else if (kind == QLatin1String("lookup")) {
                const QString shown = control<MultiLineTextBox>(form, "HostResponse")->text();
                inFlight = !shown.contains(QLatin1String("Host Name")) && !shown.contains(QLatin1String("error"));
            } else {
                inFlight = QThread::currentThread()->loopLevel() > 1;
            }
            std::printf("closing %lld %d\n", nowNs(), int(inFlight));
            std::fflush(stdout);
            form.close();
        });
        QTimer::singleShot(200, &form, [&form, kind] {
            if (kind == QLatin1String("whois")) {
                start(form, 3, "Text2", QStringLiteral("whois.slow.test"), "Command1");
            } else if (kind == QLatin1String("lookup")) {
                start(form, 2, "DNSHost", QStringLiteral("198.18.53.99"), "DoLookup");
            } else if (kind == QLatin1String("trace")) {
                start(form, 1, "txtRemoteTrace", QStringLiteral("198.19.99.99"), "cmdTraceroute");
            } else {
                QWidget* target = form.focusWidget() ? form.focusWidget() : &form;
                QKeyEvent press(QEvent::KeyPress, Qt::Key_F1, Qt::NoModifier);
                QKeyEvent release(QEvent::KeyRelease, Qt::Key_F1, Qt::NoModifier);
                QApplication::sendEvent(target, &press);
                QApplication::sendEvent(target, &release);
            }
        });
    });
}

// ---- the parent ----

struct ChildRun {
    std::string line;          // the first line it wrote
    Clock::time_point lineAt;
    Clock::time_point goneAt;
    double peakMb = 0;
};

bool runChild(const std::vector<const char*>& args, Clock::time_point& startedAt, ChildRun& run)
{
    int out[2];
    if (pipe(out) != 0)
        return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    std::vector<char*> argv;
    for (const char* a : args)
        argv.push_back(const_cast<char*>(a));
    argv.push_back(nullptr);

    startedAt = Clock::now();
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, "/proc/self/exe", &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    if (spawned != 0) {
        close(out[0]);
        return false;
    }
    char buffer[128] = {};
    const ssize_t got = read(out[0], buffer, sizeof buffer - 1);
    run.lineAt = Clock::now();
    close(out[0]);

    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    run.goneAt = Clock::now();
    run.line = got > 0 ? std::string(buffer, size_t(got)) : std::string();
    run.peakMb = usage.ru_maxrss / 1024.0;
    return got > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

double ms(Clock::duration d)
{
    return std::chrono::duration<double, std::milli>(d).count();
}

int startup(int runs)
{
    std::vector<double> paints, peaks;
    for (int i = 0; i < runs; ++i) {
        Clock::time_point start;
        ChildRun run;
        if (!runChild({"startup_bench", "--child"}, start, run) || run.line.rfind("painted", 0) != 0) {
            std::fprintf(stderr, "run %d failed\n", i + 1);
            return 1;
        }
        paints.push_back(ms(run.lineAt - start));
        peaks.push_back(run.peakMb);
        std::printf("run %d: first paint %.1f ms, peak RSS %.1f MB\n", i + 1, paints.back(), peaks.back());
    }
    std::printf("median over %d runs: first paint %.1f ms (target < 250), peak RSS %.1f MB (target < 60)\n", runs,
                median(paints), median(peaks));
    return 0;
}

int exitLatency(const char* kind, int runs)
{
    std::vector<double> exits;
    int inFlight = 0;
    for (int i = 0; i < runs; ++i) {
        Clock::time_point start;
        ChildRun run;
        long long closingNs = 0;
        int busy = 0;
        if (!runChild({"startup_bench", "--exit-child", kind}, start, run)
            || std::sscanf(run.line.c_str(), "closing %lld %d", &closingNs, &busy) != 2) {
            std::fprintf(stderr, "exit %s: run %d failed (%s)\n", kind, i + 1, run.line.c_str());
            return 1;
        }
        exits.push_back(ms(run.goneAt - Clock::time_point(Clock::duration(closingNs))));
        inFlight += busy;
    }
    std::sort(exits.begin(), exits.end());
    std::printf("  %-7s close -> process gone: median %7.1f ms, max %7.1f ms (target <= 300): %s; work in flight at "
                "the close in %d of %d runs\n",
                kind, median(exits), exits.back(), exits.back() <= 300 ? "met" : "MISSED", inFlight, runs);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const bool startupRun = argc >= 2 && std::strcmp(argv[1], "--child") == 0;
    const bool exitRun = argc >= 3 && std::strcmp(argv[1], "--exit-child") == 0;
    // As the program's own main does, before anything else.
    if ((startupRun || exitRun) && !openRawSocketsAndDropCapabilities())
        return 1;
    if (startupRun)
        return startupChild(1, argv);
    if (exitRun)
        return exitChild(1, argv, QString::fromLatin1(argv[2]));
    if (argc >= 3 && std::strcmp(argv[1], "exit") == 0)
        return exitLatency(argv[2], argc > 3 ? std::max(1, std::atoi(argv[3])) : 5);
    return startup(argc >= 2 ? std::max(1, std::atoi(argv[1])) : 7);
}
