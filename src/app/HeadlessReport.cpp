#include "HeadlessReport.h"

#include "CommandLine.h"
#include "AsciiHost.h"
#include "AsnText.h"
#include "monitor/PathMonitor.h"
#include "platform/EngineClock.h"
#include "platform/IcmpSocket.h"
#include "platform/NameLookup.h"
#include "platform/TxtLookup.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>
#include <memory>

namespace {

// How long the report waits, after its last round, for AS answers still on their way.
constexpr int kOriginWaitMs = 2000;

QByteArray formatted(const monitor::Report& report, CommandLine::Format format)
{
    switch (format) {
    case CommandLine::Format::Csv:
        return monitor::reportCsv(report).toUtf8();
    case CommandLine::Format::Json:
        return monitor::reportJson(report);
    case CommandLine::Format::Text:
        break;
    }
    return monitor::reportText(report).toUtf8();
}

} // namespace

int runHeadlessReport(int argc, char** argv, const CommandLine& line)
{
    QCoreApplication app(argc, argv);
    // The real adapters, as the window's pages have them: the raw sockets main() opened before
    // giving up its privileges, or datagram sockets.
    LinuxIcmpSocketFactory sockets;
    QtEngineClock clock;
    SystemNameLookup names;
    const IcmpAdapters adapters{&sockets, &clock, &names};
    QtTxtLookup txt;
    asn::AsnLookup origins(txt);
    origins.setEnabled(!line.noAsn);
    if (!line.asnZone.isEmpty())
        origins.setZone(line.asnZone);
    bool printed = false;
    std::unique_ptr<monitor::PathMonitor> watch;

    const auto fail = [&app](const QString& why) {
        std::fprintf(stderr, "pathlark: %s\n", qPrintable(why));
        app.exit(1);
    };
    const auto watchAddress = [&](const QHostAddress& address) {
        watch = std::make_unique<monitor::PathMonitor>(adapters, monitor::Target{line.reportHost, address});
        QObject::connect(watch.get(), &monitor::PathMonitor::failed, &app, [&](const QString& message) {
            watch->stop();
            fail(message);
        });
        const auto print = [&] {
            if (std::exchange(printed, true))
                return;
            const QByteArray out = formatted(watch->report(reportOrigins(&origins, watch->model())), line.format);
            std::fwrite(out.constData(), 1, size_t(out.size()), stdout);
            std::fflush(stdout);
            app.exit(0);
        };
        QObject::connect(watch.get(), &monitor::PathMonitor::roundAdded, &app, [&, print] {
            lookUpResponders(&origins, watch->model());
            if (watch->model().rounds() < line.rounds)
                return;
            watch->stop();
            if (origins.outstanding() == 0)
                return print();
            QObject::connect(&origins, &asn::AsnLookup::settled, &app, print);
            QTimer::singleShot(kOriginWaitMs, &app, print);
        });
        watch->start(line.intervalSeconds);
    };

    // The host as the pages take it: a name in another script in its ASCII form, one lookup.
    const std::optional<QByteArray> ascii = asciiHostName(line.reportHost);
    const QString unknown = QStringLiteral("%1: unknown host").arg(line.reportHost);
    if (!ascii) {
        fail(unknown);
        return 1;
    }
    names.addressOf(QString::fromUtf8(*ascii), &app, [&](std::optional<QHostAddress> address) {
        if (address)
            watchAddress(*address);
        else
            fail(unknown);
    });
    const int status = app.exec();
    watch.reset();
    return status;
}
