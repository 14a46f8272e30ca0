// The real interface-list adapter, on this machine and inside network namespaces built here.
#include "icmp/LocalAddress.h"
#include "platform/LinuxInterfaceList.h"

#include <QProcess>
#include <QRegularExpression>
#include <QtTest>

#include <net/if.h>
#include <unistd.h>

namespace {

QString run(const QString& program, const QStringList& args, int* status = nullptr)
{
    QProcess p;
    p.start(program, args);
    p.waitForFinished(15000);
    if (status)
        *status = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    return QString::fromUtf8(p.readAllStandardOutput());
}

bool ip(const QStringList& args)
{
    int status = 0;
    run(QStringLiteral("ip"), args, &status);
    return status == 0;
}

// Namespaces made by one test, removed when it ends whatever happened.
class Namespaces {
public:
    ~Namespaces()
    {
        for (const QString& ns : m_names)
            ip({"netns", "del", ns});
    }
    QString make(const QString& tag)
    {
        const QString name = QStringLiteral("pl-app-%1-%2").arg(getpid()).arg(tag);
        if (!ip({"netns", "add", name}))
            return {};
        m_names << name;
        ip({"-n", name, "link", "set", "lo", "up"});
        return name;
    }
    bool exec(const QString& ns, const QStringList& command) { return ip(QStringList{"netns", "exec", ns} + command); }

private:
    QStringList m_names;
};

// Runs the probe inside a namespace and returns its "key value" lines.
QMultiMap<QString, QString> probe(const QString& ns, const QStringList& extra = {})
{
    const QString exe = QCoreApplication::applicationDirPath() + QStringLiteral("/interface_probe");
    const QString out = run(QStringLiteral("ip"), QStringList{"netns", "exec", ns, exe} + extra);
    QMultiMap<QString, QString> result;
    for (const QString& line : out.split(u'\n', Qt::SkipEmptyParts)) {
        const qsizetype space = line.indexOf(u' ');
        result.insert(line.left(space), space < 0 ? QString() : line.mid(space + 1));
    }
    return result;
}

#define REQUIRE_NAMESPACES()                                                                                       \
    do {                                                                                                           \
        if (geteuid() != 0)                                                                                        \
            QSKIP("needs root to create network namespaces (CI runs as root)");                                    \
        if (QStandardPaths::findExecutable(QStringLiteral("ip")).isEmpty())                                        \
            QSKIP("needs iproute2's ip command");                                                                  \
    } while (0)

} // namespace

class TestInterfacesReal : public QObject {
    Q_OBJECT
private slots:
    // getifaddrs folded wrongly (lost interfaces, wrong first address) or the default route misread.
    void matchesThisMachine()
    {
        const LinuxInterfaceList list;
        const auto interfaces = list.interfaces();
        const QString links = run(QStringLiteral("ip"), {"-o", "link", "show"});
        if (links.isEmpty())
            QSKIP("iproute2's ip command is not available");
        for (const QString& line : links.split(u'\n', Qt::SkipEmptyParts)) {
            const QString name = line.section(u':', 1, 1).trimmed().section(u'@', 0, 0);
            QVERIFY2(std::any_of(interfaces.begin(), interfaces.end(), [&](auto& n) { return n.name == name; }),
                     qPrintable(name));
        }
        // The first IPv4 address `ip` lists per interface is the one the adapter reports.
        QSet<QString> seen;
        const QRegularExpression addrLine(QStringLiteral(R"(^\d+:\s+(\S+)\s+inet\s+([\d.]+)/)"));
        for (const QString& line : run(QStringLiteral("ip"), {"-o", "-4", "addr", "show"}).split(u'\n')) {
            const auto m = addrLine.match(line);
            if (!m.hasMatch() || seen.contains(m.captured(1)))
                continue;
            seen << m.captured(1);
            auto it = std::find_if(interfaces.begin(), interfaces.end(), [&](auto& n) { return n.name == m.captured(1); });
            QVERIFY(it != interfaces.end());
            QVERIFY(it->ipv4);
            QCOMPARE(dottedQuad(*it->ipv4), m.captured(2));
        }
        auto lo = std::find_if(interfaces.begin(), interfaces.end(), [](auto& n) { return n.name == "lo"; });
        QVERIFY(lo != interfaces.end() && (lo->flags & IFF_LOOPBACK));

        const QString defaults = run(QStringLiteral("ip"), {"-4", "route", "show", "default"});
        const QRegularExpression dev(QStringLiteral(R"(\bdev\s+(\S+))"));
        QCOMPARE(list.defaultRouteInterface(), dev.match(defaults).captured(1));
        QCOMPARE(list.hostName(), QSysInfo::machineHostName());
    }

    // A machine with nothing but loopback must read as not connected.
    void loopbackOnlyNamespace()
    {
        REQUIRE_NAMESPACES();
        Namespaces namespaces;
        const QString ns = namespaces.make(QStringLiteral("lo"));
        QVERIFY2(!ns.isEmpty(), "ip netns add failed");
        const auto seen = probe(ns);
        QCOMPARE(seen.values("iface"), QStringList{QStringLiteral("lo %1 127.0.0.1").arg(seen.value("iface").section(u' ', 1, 1))});
        QCOMPARE(seen.value("default"), QString());
        QCOMPARE(seen.value("localip"), QStringLiteral("127.0.0.1"));
        QCOMPARE(seen.value("dialup"), QStringLiteral("0"));
    }

    // The address of the interface carrying the default route is the one shown, not the first one listed.
    void defaultRouteNamespace()
    {
        REQUIRE_NAMESPACES();
        Namespaces namespaces;
        const QString router = namespaces.make(QStringLiteral("gw"));
        const QString host = namespaces.make(QStringLiteral("host"));
        QVERIFY(!router.isEmpty() && !host.isEmpty());
        // An interface listed first, with an address, but without the default route.
        QVERIFY(ip({"-n", host, "link", "add", "plother0", "type", "veth", "peer", "name", "plother1"}));
        QVERIFY(ip({"-n", host, "addr", "add", "198.18.50.9/24", "dev", "plother0"}));
        QVERIFY(ip({"-n", host, "link", "set", "plother0", "up"}));
        QVERIFY(ip({"-n", host, "link", "set", "plother1", "up"}));
        const QString first = QStringLiteral("plup0");
        QVERIFY(ip({"-n", host, "link", "add", first, "type", "veth", "peer", "name", "plup1", "netns", router}));
        QVERIFY(ip({"-n", host, "addr", "add", "198.18.60.2/24", "dev", first}));
        QVERIFY(ip({"-n", host, "link", "set", first, "up"}));
        QVERIFY(ip({"-n", router, "addr", "add", "198.18.60.1/24", "dev", "plup1"}));
        QVERIFY(ip({"-n", router, "link", "set", "plup1", "up"}));
        QVERIFY(ip({"-n", host, "route", "add", "default", "via", "198.18.60.1"}));

        const auto seen = probe(host);
        QCOMPARE(seen.value("default"), first);
        QCOMPARE(seen.value("localip"), QStringLiteral("198.18.60.2"));
        QCOMPARE(seen.value("dialup"), QStringLiteral("0"));
    }

    // A running point-to-point link with an address is the dial-up stand-in; the same link without carrier is not.
    void pointToPointNamespace()
    {
        REQUIRE_NAMESPACES();
        if (!QFile::exists(QStringLiteral("/dev/net/tun")))
            QSKIP("needs /dev/net/tun");
        Namespaces namespaces;
        const QString ns = namespaces.make(QStringLiteral("ptp"));
        QVERIFY(!ns.isEmpty());
        QVERIFY(ip({"-n", ns, "tuntap", "add", "dev", "plppp0", "mode", "tun"}));
        QVERIFY(ip({"-n", ns, "addr", "add", "198.18.9.1", "peer", "198.18.9.2", "dev", "plppp0"}));
        QVERIFY(ip({"-n", ns, "link", "set", "plppp0", "up"}));

        QCOMPARE(probe(ns).value("dialup"), QStringLiteral("0"));   // no carrier: nobody holds the tunnel
        const auto attached = probe(ns, {"--attach-tun", "plppp0"});
        QCOMPARE(attached.value("dialup"), QStringLiteral("1"));
        QCOMPARE(attached.value("localip"), QStringLiteral("198.18.9.1"));
    }
};

QTEST_GUILESS_MAIN(TestInterfacesReal)
#include "tst_interfaces_real.moc"
