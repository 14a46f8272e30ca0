// Start-up benchmark: time from starting the program to its window's first paint, and the
// peak resident memory of the program while its window sits idle. Medians over several runs.
//   startup_bench [RUNS]         — measures (the child runs are this same binary with --child)
#include "app/Application.h"
#include "app/Form1.h"

#include <QApplication>
#include <QTimer>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

extern char** environ;

namespace {

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

int child(int argc, char** argv)
{
    FirstPaintReporter reporter;
    return runApplication(argc, argv, [&](Form1& form) { form.installEventFilter(&reporter); });
}

struct Sample {
    double firstPaintMs;
    double peakMb;
};

bool measureOnce(const char* self, Sample& sample)
{
    int out[2];
    if (pipe(out) != 0)
        return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    char childFlag[] = "--child";
    char* args[] = {const_cast<char*>(self), childFlag, nullptr};

    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, self, &actions, nullptr, args, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    if (spawned != 0) {
        close(out[0]);
        return false;
    }
    char buffer[64] = {};
    const ssize_t got = read(out[0], buffer, sizeof buffer - 1);
    const auto painted = std::chrono::steady_clock::now();
    close(out[0]);

    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    if (got <= 0 || std::strncmp(buffer, "painted", 7) != 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return false;
    sample.firstPaintMs = std::chrono::duration<double, std::milli>(painted - start).count();
    sample.peakMb = usage.ru_maxrss / 1024.0;
    return true;
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    if (argc >= 2 && std::strcmp(argv[1], "--child") == 0)
        return child(1, argv);

    const int runs = argc >= 2 ? std::max(1, std::atoi(argv[1])) : 7;
    std::vector<double> paints, peaks;
    for (int i = 0; i < runs; ++i) {
        Sample s{};
        if (!measureOnce("/proc/self/exe", s)) {
            std::fprintf(stderr, "run %d failed\n", i + 1);
            return 1;
        }
        paints.push_back(s.firstPaintMs);
        peaks.push_back(s.peakMb);
        std::printf("run %d: first paint %.1f ms, peak RSS %.1f MB\n", i + 1, s.firstPaintMs, s.peakMb);
    }
    std::printf("median over %d runs: first paint %.1f ms (target < 250), peak RSS %.1f MB (target < 60)\n", runs,
                median(paints), median(peaks));
    return 0;
}
