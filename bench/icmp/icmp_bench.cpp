// The real ICMP engine and the real window, measured inside the lab's path (bench/icmp/run.sh).
//   icmp_bench trace HOST RUNS     Trace() to SequenceComplete, each hop's responder and the last
//                                  row, once per run
//   icmp_bench cancel HOST MS...   a trace cancelled MS after its start: request to SequenceComplete
//   icmp_bench ping HOST           each echo's trip time, and Ping() to SequenceComplete
//   icmp_bench window HOST         Trace Route pressed in the window: the longest gap of a 5 ms timer
#include "UiGapMeter.h"
#include "app/Form1.h"
#include "app/RealPlatform.h"
#include "app/ResultsTable.h"
#include "icmp/AxIcmp.h"
#include "platform/IcmpSocket.h"
#include "platform/InterfaceList.h"
#include "platform/EngineClock.h"
#include "platform/NameLookup.h"

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

// Runs one trace or ping to its SequenceComplete (at most a minute); `clock` starts at the call.
void runOnce(IcmpControl& control, bool trace, QElapsedTimer& clock)
{
    QEventLoop loop;
    const auto done = QObject::connect(&control, &IcmpControl::SequenceComplete, &loop, &QEventLoop::quit);
    QTimer::singleShot(60000, &loop, &QEventLoop::quit);
    clock.start();
    trace ? control.Trace() : control.Ping();
    loop.exec();
    QObject::disconnect(done);
}

int traceTimes(const QString& host, int runs)
{
    Engine e;
    e.control.setHostAddress(host);
    QStringList responders;
    QString last;
    QObject::connect(&e.control, &IcmpControl::TraceData, &e.control,
                     [&](const QString& ip, const QString&, const QString&, const QString& description, qint32,
                         const QString& hop, Bool16*) {
                         responders << ip;
                         last = hop + u'|' + ip + u'|' + description;
                     },
                     Qt::DirectConnection);
    for (int i = 0; i < runs; ++i) {
        responders.clear();
        QElapsedTimer clock;
        runOnce(e.control, true, clock);
        std::printf("trace_ms %.2f rows %lld hops %s last %s\n", clock.nsecsElapsed() / 1e6,
                    static_cast<long long>(responders.size()), qPrintable(responders.join(u',')), qPrintable(last));
    }
    return 0;
}

// The handler answers Cancel = True from `atMs` on, as the window does once Cancel is clicked.
int cancelTimes(const QString& host, const QStringList& moments)
{
    Engine e;
    e.control.setHostAddress(host);
    bool requested = false;
    int rowsAfter = 0;
    QObject::connect(&e.control, &IcmpControl::TraceData, &e.control,
                     [&](const QString&, const QString&, const QString&, const QString&, qint32, const QString&,
                         Bool16* cancel) {
                         rowsAfter += requested;
                         if (cancel)
                             *cancel = requested ? kTrue16 : kFalse16;
                     },
                     Qt::DirectConnection);
    for (const QString& moment : moments) {
        requested = false;
        rowsAfter = 0;
        QElapsedTimer clock;
        qint64 requestedNs = -1;
        QTimer request;
        request.setSingleShot(true);
        request.setTimerType(Qt::PreciseTimer);
        QObject::connect(&request, &QTimer::timeout, [&] {
            requested = true;
            requestedNs = clock.nsecsElapsed();
        });
        request.start(moment.toInt());
        runOnce(e.control, true, clock);
        if (requestedNs < 0)
            std::printf("cancel_at %s ended_first %.1f\n", qPrintable(moment), clock.nsecsElapsed() / 1e6);
        else
            std::printf("cancel_at %s latency_ms %.1f rows_after %d\n", qPrintable(moment),
                        (clock.nsecsElapsed() - requestedNs) / 1e6, rowsAfter);
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
    QElapsedTimer clock;
    runOnce(e.control, false, clock);
    std::printf("ping_ms %.2f\n", clock.nsecsElapsed() / 1e6);
    return 0;
}

int windowGaps(const QString& host)
{
    RealPlatform platform;
    Form1 form(platform.platform());
    form.Form_Load();
    form.show();
    auto* table = form.findChild<ResultsTable*>(QStringLiteral("ListView1"));
    auto* button = form.findChild<QPushButton*>(QStringLiteral("cmdTraceroute"));

    UiGapMeter gaps;
    qint64 clickedAt = -1;

    // The window's end row "!" closes the run (a row gets its text after it is inserted).
    QEventLoop loop;
    QObject::connect(table->model(), &QAbstractItemModel::dataChanged, &loop, [&](const QModelIndex& index) {
        if (index.column() == 0 && index.data().toString() == QLatin1String("!"))
            loop.quit();
    });
    QTimer::singleShot(60000, &loop, &QEventLoop::quit);
    QTimer::singleShot(200, &form, [&] {
        form.findChild<QTabWidget*>(QStringLiteral("SSTab1"))->setCurrentIndex(1);
        form.findChild<QLineEdit*>(QStringLiteral("txtRemoteTrace"))->setText(host);
        clickedAt = gaps.elapsedNs();
        gaps.start();
        button->click();
    });
    loop.exec();
    std::printf("window_trace_ms %.1f longest_gap_ms %.2f rows %d\n", (gaps.elapsedNs() - clickedAt) / 1e6,
                gaps.longestMs(), table->topLevelItemCount());
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    // As the program does: raw sockets (where datagram ones are not allowed) before anything else.
    if (!openRawSocketsAndDropCapabilities())
        return 1;
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    const QString mode = args.value(1), host = args.value(2);
    if (mode == QLatin1String("trace"))
        return traceTimes(host, args.value(3, QStringLiteral("1")).toInt());
    if (mode == QLatin1String("cancel"))
        return cancelTimes(host, args.mid(3));
    if (mode == QLatin1String("ping"))
        return pingTimes(host);
    if (mode == QLatin1String("window"))
        return windowGaps(host);
    std::fprintf(stderr, "usage: icmp_bench trace HOST RUNS | cancel HOST MS... | ping HOST | window HOST\n");
    return 2;
}
