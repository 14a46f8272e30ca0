#include "CommandLine.h"

#include "PageRegistry.h"

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

} // namespace

CommandLine CommandLine::parse(const QStringList& arguments)
{
    CommandLine line;
    const auto refuse = [&line](const QString& why) {
        line.action = Action::Refuse;
        line.error = why;
        return line;
    };
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
        const PageEntry* page = pageWithOption(name);
        if (!page || !argument.startsWith(QLatin1String("--")))
            return refuse(QStringLiteral("unknown option \"%1\"").arg(argument));
        if (line.page != Page::Window)
            return refuse(QStringLiteral("only one of %1 can be given").arg(pageOptionList()));
        line.page = page->page;
        line.start = takeValue(false);
        line.host = value;
    }
    if ((!line.server.isNull() || !line.port.isNull()) && line.page != Page::Whois)
        return refuse(QStringLiteral("--server and --port go with --whois"));
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
        "Checks this computer's connection to the Internet: ping, traceroute, DNS lookup and whois.\n"
        "\n") + pages + QStringLiteral(
        "    --server NAME        the whois server to ask\n"
        "    --port N             the port it listens on\n"
        "  --help                 show this help and exit\n"
        "  --version              show the version and exit\n"
        "\n"
        "A value that starts with \"-\" is given as --ping=VALUE. Qt's own options (-platform, -style, ...)\n"
        "work as in any Qt program. Press F1 in the window for help on each page.\n");
}
