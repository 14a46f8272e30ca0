// Measures the real ICMP control; bench/icmp/run.sh runs it inside test namespaces.
//   icmp_bench trace HOST RUNS   time from Trace() to SequenceComplete, once per run
//   icmp_bench ping HOST         time from Ping() to SequenceComplete, and each trip time
//   icmp_bench window HOST       a trace started from the window's Trace Route button, with
//                                reverse lookups, while a 5 ms timer ticks on the UI thread:
//                                the longest gap between two ticks
#include "app/Form1.h"
#include "app/RealPlatform.h"
#include "app/ResultsTable.h"
#include "icmp/AxIcmp.h"
#include "platform/LinuxIcmpSocket.h"
#include "platform/LinuxInterfaceList.h"
#include "platform/QtEngineClock.h"
#include "platform/SystemNameLookup.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>

#include <cstdio>

namespace {

struct Engine {
    LinuxInterfaceList interfaces;
    LinuxIcmpSocketFactory sockets;
    QtEngineClock clock;
    SystemNameLookup names;
    AxIcmp control{interfaces, IcmpAdapters{&sockets, &clock, &names}};
};

// Runs the event loop until the control's SequenceComplete; milliseconds taken.
double runOnce(IcmpControl& control, bool trace)
{
    QEventLoop loop;
    const auto done = QObject::connect(&control, &IcmpControl::SequenceComplete, &loop, &QEventLoop::quit);
    QTimer::singleShot(60000, &loop, &QEventLoop::quit);
    QElapsedTimer t;
    t.start();
    trace ? control.Trace() : control.Ping();
    loop.exec();
    QObject::disconnect(done);
    return t.nsecsElapsed() / 1e6;
}

int traceTimes(const QString& host, int runs)
{
    Engine e;
    e.control.setHostAddress(host);
    int rows = 0;
    QObject::connect(&e.control, &IcmpControl::TraceData, &e.control, [&rows](auto&&...) { ++rows; },
                     Qt::DirectConnection);
    for (int i = 0; i < runs; ++i) {
        rows = 0;
        std::printf("trace_ms %.2f rows %d\n", runOnce(e.control, true), rows);
    }
    return 0;
}

int pingTimes(const QString& host)
{
    Engine e;
    e.control.setHostAddress(host);
    QObject::connect(&e.control, &IcmpControl::PingData, &e.control,
                     [](const QString&, const QString&, const QString& trip, auto&&...) {
                         std::printf("rtt_ms %s\n", qPrintable(trip.section(u' ', 0, 0)));
                     });
    std::printf("ping_ms %.2f\n", runOnce(e.control, false));
    return 0;
}

int windowGaps(const QString& host)
{
    RealPlatform platform;
    Form1 form(platform.platform());
    form.Form_Load();
    form.show();
    QElapsedTimer clock;
    clock.start();
    qint64 last = 0;
    qint64 longest = 0;
    bool measuring = false;
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        if (measuring)
            longest = std::max(longest, now - last);
        last = now;
    });
    ticker.start(5);
    QEventLoop loop;
    QObject::connect(form.axICMP1, &IcmpControl::SequenceComplete, &loop, &QEventLoop::quit);
    QTimer::singleShot(60000, &loop, &QEventLoop::quit);
    // Warm up the ticker, then press Trace Route as a user would.
    qint64 clickedAt = 0;
    QTimer::singleShot(100, &form, [&] {
        form.SSTab1->setCurrentIndex(1);
        form.txtRemoteTrace->setText(host);
        clickedAt = clock.nsecsElapsed();
        form.cmdTraceroute->click();   // its host check blocks by design; gaps count after it
        last = clock.nsecsElapsed();
        measuring = true;
    });
    loop.exec();
    std::printf("window_trace_ms %.2f longest_tick_gap_ms %.2f rows %d\n", (clock.nsecsElapsed() - clickedAt) / 1e6,
                longest / 1e6, form.ListView1->topLevelItemCount());
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 3) {
        std::fprintf(stderr, "usage: icmp_bench trace HOST RUNS | ping HOST | window HOST\n");
        return 2;
    }
    if (args[1] == QLatin1String("trace"))
        return traceTimes(args[2], args.value(3, QStringLiteral("1")).toInt());
    if (args[1] == QLatin1String("ping"))
        return pingTimes(args[2]);
    return windowGaps(args[2]);
}
