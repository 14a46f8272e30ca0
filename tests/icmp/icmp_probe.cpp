// Drives the real ICMP control and prints its events (EventLog.h), so that a test or benchmark
// can run it inside a network namespace, as another user, and read what happened. After each
// run:   stats|socket kind|elapsed ms|socket still open
// Usage: icmp_probe ping|trace HOST [--raw] [--cancel-after MS] [--runs N]
// Like the program, it first takes its raw sockets and drops its capabilities; --raw instead
// keeps root's privilege and uses a raw socket only.
#include "EventLog.h"
#include "icmp/AxIcmp.h"
#include "platform/LinuxIcmpSocket.h"
#include "platform/LinuxInterfaceList.h"
#include "platform/QtEngineClock.h"
#include "platform/SystemNameLookup.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTextStream>
#include <QTimer>

int main(int argc, char** argv)
{
    const bool rawOnly = QByteArrayList(argv, argv + argc).contains("--raw");
    if (!rawOnly && !openRawSocketsAndDropCapabilities())
        return 4;
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const auto option = [&](const char* name, int otherwise) {
        const qsizetype at = args.indexOf(QLatin1String(name));
        return at < 0 ? otherwise : args.value(at + 1).toInt();
    };
    const int cancelAfterMs = option("--cancel-after", -1);
    int runs = option("--runs", 1);
    QTextStream stream(stdout);
    const auto out = [&stream](const QString& line) { stream << line << Qt::endl; };

    LinuxInterfaceList interfaces;
    LinuxIcmpSocketFactory sockets(rawOnly);
    QtEngineClock clock;
    SystemNameLookup names;
    AxIcmp control(interfaces, IcmpAdapters{&sockets, &clock, &names});
    QElapsedTimer elapsed;
    logEvents(control, out, [&](int) { return cancelAfterMs >= 0 && elapsed.elapsed() >= cancelAfterMs; });
    const auto start = [&] {
        elapsed.start();
        args.value(1) == QLatin1String("trace") ? control.Trace() : control.Ping();
    };
    QObject::connect(&control, &IcmpControl::SequenceComplete, [&] {
        const double ms = elapsed.nsecsElapsed() / 1e6;
        // Once the run is over its socket is closed.
        QTimer::singleShot(0, &app, [&, ms] {
            const bool raw = control.socketKind() == IcmpSocket::Kind::Raw;
            out(QStringLiteral("stats|%1|%2|%3").arg(raw ? "raw" : "datagram").arg(ms).arg(control.hasOpenSocket()));
            --runs > 0 ? start() : app.quit();
        });
    });
    QTimer::singleShot(60000, &app, [&] { app.exit(3); });   // a run that never ends fails

    control.setHostAddress(args.value(2));
    start();
    return app.exec();
}
