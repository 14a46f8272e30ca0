// What the DNS benchmarks share: the clock, the figures, the real window, and the peers timed beside it.
#pragma once
#include "app/Form1.h"
#include "app/RealPlatform.h"

#include <QApplication>
#include <QTabWidget>
#include <QTimer>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

extern char** environ;

namespace bench {

using Clock = std::chrono::steady_clock;

inline double msBetween(Clock::time_point from, Clock::time_point to)
{
    return std::chrono::duration<double, std::milli>(to - from).count();
}

inline double quantile(std::vector<double> v, double q)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[size_t(q * double(v.size() - 1) + 0.5)];
}

inline void report(const char* what, const std::vector<double>& ms)
{
    std::printf("  %-26s median %7.3f ms  p90 %7.3f ms  max %7.3f ms  (n=%zu)\n", what, quantile(ms, 0.5),
                quantile(ms, 0.9), quantile(ms, 1), ms.size());
}

struct Window {
    RealPlatform platform;
    Form1 form{platform.platform()};

    Window()
    {
        form.Form_Load();
        form.show();
    }
    template <typename T>
    T* control(const char* name) const
    {
        return form.findChild<T*>(QString::fromLatin1(name));
    }
    QTabWidget* tabs() const { return control<QTabWidget>("SSTab1"); }
    // Closes every message box soon after it shows, as a user pressing OK would.
    void pressOkOnMessages()
    {
        QObject::connect(&okPresser, &QTimer::timeout, [] {
            if (QWidget* modal = QApplication::activeModalWidget())
                modal->close();
        });
        okPresser.start(20);
    }
    QTimer okPresser;
};

// Runs a peer's command to its end, its output thrown away, as a user running it waits for it;
// the milliseconds it took, process start included (-1: it could not be started).
inline double commandOnce(std::vector<const char*> argv)
{
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    const auto start = Clock::now();
    pid_t pid = 0;
    int status = 0;
    const bool started = posix_spawnp(&pid, argv[0], &actions, nullptr, const_cast<char**>(argv.data()), environ) == 0;
    if (started)
        waitpid(pid, &status, 0);
    posix_spawn_file_actions_destroy(&actions);
    return started ? msBetween(start, Clock::now()) : -1;
}

inline double getentOnce(const QByteArray& name)
{
    return commandOnce({"getent", "hosts", name.constData()});
}

inline double gethostbynameOnce(const QByteArray& name)
{
    hostent h{}, *r = nullptr;
    char buf[8192];
    int err = 0;
    const auto start = Clock::now();
    const in_addr_t a = inet_addr(name.constData());
    if (a == INADDR_NONE)
        gethostbyname_r(name.constData(), &h, buf, sizeof buf, &r, &err);
    else
        gethostbyaddr_r(&a, 4, AF_INET, &h, buf, sizeof buf, &r, &err);
    return msBetween(start, Clock::now());
}

} // namespace bench
