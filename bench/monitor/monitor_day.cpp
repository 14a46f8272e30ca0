// A day of rounds on a simulated path, on its clock: the monitor's memory above idle, and the CPU
// time of a round hour by hour (it must not grow with the hours behind it).
#include "SimulatedDayPath.h"
#include "monitor/PathMonitor.h"

#include <QFile>

#include <cstdio>
#include <ctime>

namespace {

// A field of /proc/self/status in kB (VmRSS: now, VmHWM: the peak so far).
long statusKb(const char* field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray key = QByteArray(field) + ':';
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(key))
            return line.mid(key.size()).trimmed().split(' ').value(0).toLong();
    }
    return -1;
}

qint64 threadCpuNs()
{
    timespec ts;
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return qint64(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

} // namespace

int simulateDay(int hops, int hours, double intervalSeconds)
{
    SimulatedDayPath path(hops);
    const long idleKb = statusKb("VmRSS");
    std::printf("idle_rss_kb %ld\n", idleKb);
    {
        monitor::PathMonitor monitor(IcmpAdapters{&path, &path, &path},
                                     monitor::Target{path.target().toString(), path.target()});
        monitor.start(intervalSeconds);
        const qint64 hourNs = 3600LL * 1000000000;
        const qint64 stepNs = qint64(intervalSeconds * 1e9);
        qint64 at = path.monotonicNs();
        for (int hour = 1; hour <= hours; ++hour) {
            const int roundsBefore = monitor.model().rounds();
            const qint64 cpuBefore = threadCpuNs();
            for (const qint64 end = at + hourNs; at < end;) {
                at += stepNs;
                path.runUntil(at);
            }
            const int rounds = monitor.model().rounds() - roundsBefore;
            std::printf("hour %d rounds %d cpu_us_per_round %.2f rss_kb %ld history_kb %lld\n", hour, rounds,
                        (threadCpuNs() - cpuBefore) / 1e3 / std::max(1, rounds), statusKb("VmRSS"),
                        static_cast<long long>(monitor.model().historyBytes() / 1024));
            std::fflush(stdout);
        }
        const monitor::PathModel& model = monitor.model();
        std::printf("rounds %d hops %d target_sent %d target_loss %.2f\n", model.rounds(), model.hopCount(),
                    model.hop(model.hopCount()).sent(), model.hop(model.hopCount()).lossPercent());
        std::printf("verdict %s\n", qPrintable(monitor.verdict().text));
        const long peakKb = statusKb("VmHWM");
        std::printf("peak_rss_kb %ld above_idle_kb %ld\n", peakKb, peakKb - idleKb);
    }
    return 0;
}
