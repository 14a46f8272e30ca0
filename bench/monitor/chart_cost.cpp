// What one round costs the monitor's chart on the UI thread, away from the network: a hop's
// history of ROUNDS rounds at 0.1 s (every tenth probe lost), then STEPS more rounds, each
// followed by the chart's update and a paint of the chart. Prints the longest and the mean.
//   monitor_chart_bench [ROUNDS [STEPS [VIEW]]]     VIEW: 0 last minute .. 3 everything
#include "app/MonitorChart.h"
#include "monitor/PathModel.h"

#include <QApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace {

// This thread's CPU time: what the update costs, whatever else the machine runs.
qint64 threadCpuNs()
{
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return qint64(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
}

monitor::Round roundAt(int n)
{
    const QHostAddress from(QStringLiteral("198.18.5.2"));
    monitor::Round round;
    round.atMs = 1'700'000'000'000 + qint64(n) * 100;
    round.hops << (n % 10 == 3 ? monitor::HopSample::lost() : monitor::HopSample::reply(from, 50 + (n * 37 % 11), true));
    return round;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int rounds = args.value(1, QStringLiteral("600")).toInt();
    const int steps = args.value(2, QStringLiteral("100")).toInt();
    const int view = std::clamp(args.value(3, QStringLiteral("0")).toInt(), 0, 3);

    monitor::PathModel model;
    int n = 0;
    while (n < rounds)
        model.addRound(roundAt(n++));
    QWidget window;
    window.resize(820, 320);
    MonitorChart chart(&window);
    chart.setGeometry(window.rect());
    chart.setView(MonitorChart::View(view));
    window.show();
    chart.showHop(model, 1);
    QCoreApplication::processEvents();

    qint64 longest = 0, total = 0, cpuLongest = 0, cpuTotal = 0;
    QElapsedTimer clock;
    for (int i = 0; i < steps; ++i) {
        model.addRound(roundAt(n++));
        clock.start();
        const qint64 cpu = threadCpuNs();
        chart.showHop(model, 1);
        QCoreApplication::processEvents();
        chart.viewport()->repaint();
        const qint64 took = clock.nsecsElapsed(), cpuTook = threadCpuNs() - cpu;
        longest = std::max(longest, took);
        total += took;
        cpuLongest = std::max(cpuLongest, cpuTook);
        cpuTotal += cpuTook;
    }
    std::printf("rounds %d view %d points %lld longest_ms %.2f mean_ms %.2f cpu_longest_ms %.2f cpu_mean_ms %.2f\n",
                rounds, view, qlonglong(chart.roundTrips().size()), longest / 1e6, total / 1e6 / std::max(1, steps),
                cpuLongest / 1e6, cpuTotal / 1e6 / std::max(1, steps));
    return 0;
}
