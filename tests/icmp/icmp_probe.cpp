// Drives the real ICMP control once and prints its events (EventLog.h), so that a test can
// run it inside a network namespace, as another user, and read what happened. Last line:
//   stats|socket kind|elapsed ms|socket still open
// Usage: icmp_probe ping|trace HOST [--raw] [--cancel-at HOP]
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
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const qsizetype cancelAt = args.indexOf(QStringLiteral("--cancel-at"));
    QTextStream stream(stdout);
    const auto out = [&stream](const QString& line) { stream << line << Qt::endl; };

    LinuxInterfaceList interfaces;
    LinuxIcmpSocketFactory sockets(args.contains(QStringLiteral("--raw")));
    QtEngineClock clock;
    SystemNameLookup names;
    AxIcmp control(interfaces, IcmpAdapters{&sockets, &clock, &names});
    QElapsedTimer elapsed;
    logEvents(control, out, cancelAt < 0 ? -1 : args.value(cancelAt + 1).toInt());
    QObject::connect(&control, &IcmpControl::SequenceComplete, [&] {
        const double ms = elapsed.nsecsElapsed() / 1e6;
        // Once the run is over its socket is closed.
        QTimer::singleShot(0, &app, [&, ms] {
            const bool raw = control.socketKind() == IcmpSocket::Kind::Raw;
            out(QStringLiteral("stats|%1|%2|%3").arg(raw ? "raw" : "datagram").arg(ms).arg(control.hasOpenSocket()));
            app.quit();
        });
    });
    QTimer::singleShot(40000, &app, [&] { app.exit(3); });   // a run that never ends fails

    control.setHostAddress(args.value(2));
    elapsed.start();
    args.value(1) == QLatin1String("trace") ? control.Trace() : control.Ping();
    return app.exec();
}
