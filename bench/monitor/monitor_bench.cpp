// The path monitor measured (bench/monitor/run.sh).
//   monitor_bench live ADDRESS ROUNDS INTERVAL   the monitor on the real sockets, clock and names
//                                                for ROUNDS rounds: each hop's figures, the
//                                                verdict, and the CPU time it took
//   monitor_bench day HOPS HOURS [INTERVAL]      HOURS of rounds on a simulated path of HOPS
//                                                hops, on a simulated clock: memory, CPU per round
#include "monitor/PathMonitor.h"
#include "platform/EngineClock.h"
#include "platform/IcmpSocket.h"
#include "platform/NameLookup.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <sys/resource.h>

#include <cstdio>

int simulateDay(int hops, int hours, double intervalSeconds);

namespace {

double cpuMs()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval& t) { return t.tv_sec * 1e3 + t.tv_usec / 1e3; };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

QByteArray msOrDash(std::optional<double> ms)
{
    return ms ? QByteArray::number(*ms, 'f', 3) : QByteArrayLiteral("-");
}

const char* kindName(monitor::Verdict::Kind kind)
{
    switch (kind) {
    case monitor::Verdict::Kind::NoRounds: return "NoRounds";
    case monitor::Verdict::Kind::NoLoss: return "NoLoss";
    case monitor::Verdict::Kind::LossBegins: return "LossBegins";
    case monitor::Verdict::Kind::TargetSilent: return "TargetSilent";
    case monitor::Verdict::Kind::FirstHopDown: return "FirstHopDown";
    }
    return "?";
}

void printTable(const monitor::PathMonitor& monitor)
{
    const monitor::PathModel& model = monitor.model();
    const monitor::Verdict& verdict = monitor.verdict();
    QStringList limited;
    for (int h = 1; h <= model.hopCount(); ++h) {
        const monitor::HopStats& s = model.hop(h);
        const QHostAddress from = s.mainResponder();
        std::printf("hop %d %s loss %.2f sent %d recv %d last %s avg %s best %s worst %s stdev %s jitter %s "
                    "rate_limited %d\n",
                    h, from.isNull() ? "???" : qPrintable(from.toString()), s.lossPercent(), s.sent(), s.received(),
                    msOrDash(s.last()).constData(), msOrDash(s.avg()).constData(), msOrDash(s.best()).constData(),
                    msOrDash(s.worst()).constData(), msOrDash(s.stdev()).constData(),
                    msOrDash(s.jitter()).constData(), int(verdict.rateLimited(h)));
        if (verdict.rateLimited(h))
            limited << QString::number(h);
    }
    std::printf("verdict_kind %s verdict_hop %d rate_limited_hops %s\n", kindName(verdict.kind), verdict.hop,
                limited.isEmpty() ? "-" : qPrintable(limited.join(u',')));
    std::printf("verdict %s\n", qPrintable(verdict.text));
}

int live(const QString& host, int rounds, double interval)
{
    const QHostAddress address(host);
    if (address.isNull() || rounds < 1) {
        std::fprintf(stderr, "monitor_bench: live needs an address and a number of rounds\n");
        return 2;
    }
    LinuxIcmpSocketFactory sockets;
    QtEngineClock clock;
    SystemNameLookup names;
    monitor::PathMonitor monitor(IcmpAdapters{&sockets, &clock, &names}, monitor::Target{host, address});
    int status = 0;
    QObject::connect(&monitor, &monitor::PathMonitor::roundAdded, &monitor, [&] {
        if (monitor.model().rounds() >= rounds) {
            monitor.stop();
            QCoreApplication::quit();
        }
    });
    QObject::connect(&monitor, &monitor::PathMonitor::failed, &monitor, [&](const QString& message) {
        std::fprintf(stderr, "monitor_bench: %s\n", qPrintable(message));
        status = 1;
        QCoreApplication::quit();
    });
    // Bounded: the rounds, their last wait, and a margin.
    QTimer::singleShot(int(rounds * interval * 1000) + 30000, QCoreApplication::instance(), [&] {
        std::fprintf(stderr, "monitor_bench: out of time after %d rounds\n", monitor.model().rounds());
        status = 1;
        QCoreApplication::quit();
    });
    const double cpuBefore = cpuMs();
    QElapsedTimer wall;
    wall.start();
    monitor.start(interval);
    QCoreApplication::exec();
    const double cpuRounds = cpuMs() - cpuBefore;
    printTable(monitor);
    const int done = std::max(1, monitor.model().rounds());
    std::printf("rounds %d wall_s %.1f cpu_ms_per_round %.4f process_cpu_ms_per_round %.4f\n", monitor.model().rounds(),
                wall.elapsed() / 1e3, cpuRounds / done, cpuMs() / done);
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    // As the program does: raw sockets (where datagram ones are not allowed) before anything else.
    if (!openRawSocketsAndDropCapabilities())
        return 1;
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const QString mode = args.value(1);
    if (mode == QLatin1String("live") && args.size() == 5)
        return live(args[2], args[3].toInt(), args[4].toDouble());
    if (mode == QLatin1String("day") && args.size() >= 4)
        return simulateDay(args[2].toInt(), args[3].toInt(), args.value(4, QStringLiteral("1")).toDouble());
    std::fprintf(stderr, "usage: monitor_bench live ADDRESS ROUNDS INTERVAL | day HOPS HOURS [INTERVAL]\n");
    return 2;
}
