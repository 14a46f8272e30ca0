// The main window's longest stall while a path monitor runs beside it: the monitor opened as the
// user opens it, its interval set to 0.1 s in its own box, its chart showing the target, on real
// sockets. A 5 ms timer on the UI thread records the longest gap between its ticks, apart for the
// first 2 s (the window opening) and for the run after them, and the most CPU time the UI thread
// spent in one gap (on a busy machine most of a gap can be waiting for a core).
//   monitor_window_bench HOST SECONDS
// Aimed at a black hole, every round probes all 30 hops: the most work a round can be.
#include "UiGapMeter.h"
#include "app/Form1.h"
#include "app/MonitorWindow.h"
#include "app/RealPlatform.h"
#include "monitor/PathMonitor.h"
#include "platform/IcmpSocket.h"

#include <QApplication>
#include <QDoubleSpinBox>
#include <QTimer>

#include <cstdio>

int main(int argc, char** argv)
{
    if (!openRawSocketsAndDropCapabilities())
        return 1;
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 3) {
        std::fprintf(stderr, "usage: monitor_window_bench HOST SECONDS\n");
        return 2;
    }
    const double seconds = args.value(2).toDouble();
    RealPlatform platform;
    Form1 form(platform.platform());
    form.Form_Load();
    form.show();

    UiGapMeter gaps;
    // The longest gap while the monitor window opens (its first layout and chart).
    double openingMs = 0;
    qint64 startedAt = -1;

    form.openMonitor(args.value(1));
    // The host check runs off the UI thread: the window comes a moment later.
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (form.monitors().isEmpty() || startedAt >= 0)
            return;
        MonitorWindow* window = form.monitors().first();
        window->findChild<QDoubleSpinBox*>(QStringLiteral("Interval"))->setValue(0.1);
        startedAt = gaps.elapsedNs();
        gaps.start();
        QTimer::singleShot(2000, &app, [&] { openingMs = gaps.takeLongestMs(); });
        QTimer::singleShot(int(seconds * 1000), &app, [&, window] {
            const monitor::PathMonitor& m = window->monitor();
            std::printf("monitor_seconds %.1f rounds %d rows %d longest_gap_ms %.2f opening_gap_ms %.2f longest_gap_cpu_ms %.2f\n",
                        (gaps.elapsedNs() - startedAt) / 1e9, m.model().rounds(), m.model().hopCount(), gaps.longestMs(),
                        openingMs, gaps.longestCpuMs());
            app.quit();
        });
    });
    poll.start(20);
    QTimer::singleShot(int(seconds * 1000) + 15000, &app, [&] { app.exit(3); });
    return app.exec();
}
