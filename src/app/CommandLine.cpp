#include "CommandLine.h"

#include "PageRegistry.h"
#include "asn/OriginRecord.h"

#include <algorithm>

namespace {

// Qt's own options that take a value (QGuiApplication and QApplication): the value goes with them.
const QStringList kQtOptionsWithValue{"platform", "platformpluginpath", "platformtheme", "plugin", "qwindowgeometry",
                                      "qwindowicon", "qwindowtitle", "session", "display", "geometry", "style",
                                      "stylesheet", "name", "title"};
const QStringList kQtFlags{"reverse", "widgetcount", "nograb", "dograb", "sync"};

// "--ping, --traceroute, --lookup and --whois"
QString pageOptionList()
{
    QStringList options;
    for (const PageEntry& entry : pageRegistry())
        options << QStringLiteral("--") + QLatin1String(entry.option);
    const QString last = options.takeLast();
    return options.join(QLatin1String(", ")) + QLatin1String(" and ") + last;
}

// Why `host` cannot be watched; empty when it can.
QString hostProblem(const QString& option, const QString& host)
{
    if (host.isEmpty())
        return QStringLiteral("option --%1 needs a host").arg(option);
    if (std::ranges::any_of(host, [](QChar c) { return c.isSpace(); }))
        return QStringLiteral("the host \"%1\" contains blanks").arg(host);
    return {};
}

// The value of --rounds, --interval or --format in `line`; the reason it is refused otherwise.
QString takeReportValue(CommandLine& line, const QString& name, const QString& value)
{
    bool ok = false;
    if (name == QLatin1String("rounds")) {
        line.rounds = value.toInt(&ok);
        if (!ok || line.rounds < 1 || line.rounds > CommandLine::kMaxRounds)
            return QStringLiteral("--rounds must be a whole number from 1 to %1, not \"%2\"").arg(CommandLine::kMaxRounds).arg(value);
    } else if (name == QLatin1String("interval")) {
        line.intervalSeconds = value.toDouble(&ok);
        if (!ok || !(line.intervalSeconds >= 0.1 && line.intervalSeconds <= 60))
            return QStringLiteral("--interval must be a number of seconds from 0.1 to 60, not \"%1\"").arg(value);
    } else {
        static const QStringList formats{"text", "csv", "json"};
        const qsizetype format = formats.indexOf(value);
        if (format < 0)
            return QStringLiteral("--format must be text, csv or json, not \"%1\"").arg(value);
        line.format = CommandLine::Format(format);
    }
    return {};
}

} // namespace

CommandLine CommandLine::parse(const QStringList& arguments)
{
    CommandLine line;
    const auto refuse = [&line](const QString& why) {
        line.action = Action::Refuse;
        line.error = why;
        return line;
    };
    bool reportOptions = false;   // --rounds, --interval or --format seen
    bool monitorPage = false;     // --monitor without a host
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (!argument.startsWith(u'-'))
            return refuse(QStringLiteral("unexpected argument \"%1\"").arg(argument));
        QString name = argument.mid(argument.startsWith(QLatin1String("--")) ? 2 : 1);
        QString value;
        const qsizetype equals = name.indexOf(u'=');
        const bool valueGiven = equals >= 0;
        if (valueGiven) {
            value = name.mid(equals + 1);
            name.truncate(equals);
        }
        // The next argument is this option's value, unless it is another option.
        const auto takeValue = [&](bool required) {
            if (!valueGiven && i + 1 < arguments.size() && (required || !arguments[i + 1].startsWith(u'-')))
                value = arguments[++i];
            return valueGiven || !value.isNull();
        };
        if (name == QLatin1String("help") || name == QLatin1String("h")) {
            line.action = Action::PrintHelp;
            return line;
        }
        if (name == QLatin1String("version") || name == QLatin1String("v")) {
            line.action = Action::PrintVersion;
            return line;
        }
        if (kQtOptionsWithValue.contains(name)) {
            if (!takeValue(true))
                return refuse(QStringLiteral("option -%1 needs a value").arg(name));
            continue;
        }
        if (kQtFlags.contains(name) || name.startsWith(QLatin1String("qmljsdebugger")))
            continue;
        if (name == QLatin1String("server") || name == QLatin1String("port")) {
            if (!takeValue(true))
                return refuse(QStringLiteral("option --%1 needs a value").arg(name));
            (name == QLatin1String("server") ? line.server : line.port) = value;
            continue;
        }
        if (name == QLatin1String("no-referrals") && !valueGiven) {
            line.followReferrals = false;
            continue;
        }
        if (name == QLatin1String("monitor") || name == QLatin1String("report")) {
            // No host to watch (the desktop's "Path Monitor" action): the Traceroute page, where
            // the user types one and Ctrl+M starts the monitor.
            if (!takeValue(false) && name == QLatin1String("monitor")) {
                monitorPage = true;
                continue;
            }
            if (const QString why = hostProblem(name, value); !why.isEmpty())
                return refuse(why);
            (name == QLatin1String("monitor") ? line.monitorHost : line.reportHost) = value;
            continue;
        }
        if (name == QLatin1String("rounds") || name == QLatin1String("interval") || name == QLatin1String("format")) {
            if (!takeValue(true))
                return refuse(QStringLiteral("option --%1 needs a value").arg(name));
            if (const QString why = takeReportValue(line, name, value); !why.isEmpty())
                return refuse(why);
            reportOptions = true;
            continue;
        }
        if (name == QLatin1String("no-asn")) {
            line.noAsn = true;
            continue;
        }
        if (name == QLatin1String("asn-zone")) {
            if (!takeValue(true))
                return refuse(QStringLiteral("option --asn-zone needs a value"));
            if (!asn::isValidZone(value))
                return refuse(QStringLiteral("--asn-zone must be a domain name, not \"%1\"").arg(value));
            line.asnZone = value;
            continue;
        }
        const PageEntry* page = pageWithOption(name);
        if (!page || !argument.startsWith(QLatin1String("--")))
            return refuse(QStringLiteral("unknown option \"%1\"").arg(argument));
        if (line.page != Page::Window)
            return refuse(QStringLiteral("only one of %1 can be given").arg(pageOptionList()));
        line.page = page->page;
        line.start = takeValue(false);
        line.host = value;
    }
    if (monitorPage && line.page == Page::Window)
        line.page = Page::Traceroute;
    if ((!line.server.isNull() || !line.port.isNull()) && line.page != Page::Whois)
        return refuse(QStringLiteral("--server and --port go with --whois"));
    if (!line.followReferrals && line.page != Page::Whois)
        return refuse(QStringLiteral("--no-referrals goes with --whois"));
    if (reportOptions && line.reportHost.isNull())
        return refuse(QStringLiteral("--rounds, --interval and --format go with --report"));
    if (!line.reportHost.isNull()) {
        // The report runs with no window: nothing of the window's may come with it.
        if (line.page != Page::Window || !line.monitorHost.isNull())
            return refuse(QStringLiteral("--report runs without a window; give it alone"));
        line.action = Action::Report;
    }
    return line;
}

QString CommandLine::usage()
{
    QString pages;
    for (const PageEntry& entry : pageRegistry()) {
        const QString option = QStringLiteral("  --%1 [%2]").arg(QLatin1String(entry.option), QLatin1String(entry.valueName));
        pages += option.leftJustified(25) + QLatin1String(entry.optionHelp) + u'\n';
    }
    return QStringLiteral(
        "Usage: pathlark [OPTION]\n"
        "       pathlark --report HOST [--rounds N] [--interval SECONDS] [--format text|csv|json]\n"
        "Checks this computer's connection to the Internet: ping, traceroute, DNS lookup and whois.\n"
        "\n") + pages + QStringLiteral(
        "    --server NAME        the whois server to ask\n"
        "    --port N             the port it listens on\n"
        "    --no-referrals       show only that server's answer, not the servers it refers to\n"
        "  --monitor [HOST]       open the window with a path monitor watching HOST; without\n"
        "                         one, on the Traceroute page, where Ctrl+M starts a monitor\n"
        "  --report HOST          watch HOST with no window for a number of rounds, print\n"
        "                         the report on stdout and exit\n"
        "    --rounds N           how many rounds (1 to 100000; default 10)\n"
        "    --interval SECONDS   the time between rounds (0.1 to 60; default 1)\n"
        "    --format FORMAT      text (default; columns like mtr -r and the verdict), csv\n"
        "                         (a header line, then one line per hop) or json (one object)\n"
        "  --no-asn               look up no AS numbers (they are asked of a DNS service)\n"
        "  --asn-zone DOMAIN      ask DOMAIN's origin records instead of asn.cymru.com's\n"
        "  --help                 show this help and exit\n"
        "  --version              show the version and exit\n"
        "\n"
        "A value that starts with \"-\" is given as --ping=VALUE (or --report=VALUE). Qt's own options\n"
        "(-platform, -style, ...) work as in any Qt program. Press F1 in the window for help on each page.\n"
        "\n"
        "Report fields, per hop in csv and json: hop, address, name, sent, received, loss (percent),\n"
        "last, avg, best, worst, stdev, jitter (milliseconds; empty in csv, null in json when nothing\n"
        "was received), rate_limited (true when the hop limits its replies rather than losing\n"
        "traffic) and others (the other responders at that hop with their replies). The json object\n"
        "also holds target, address, rounds, interval (seconds) and verdict; a hop's address is null\n"
        "when it never answered, its name when it has none. With AS lookups, also asn, as_name and\n"
        "prefix (the network the hop's address is in, as far as known when the report is written).\n"
        "Exit status: 0 done, 1 the host is unknown or no ICMP socket could be opened, 2 bad options.\n");
}
