// The real interface-list adapter, on this machine and inside network namespaces built here.
#include "icmp/LocalAddress.h"
#include "platform/LinuxInterfaceList.h"

#include <QProcess>
#include <QRegularExpression>
#include <QtTest>

#include <net/if.h>
#include <unistd.h>

namespace {

QString run(const QString& program, const QStringList& args, const QByteArray& input = {}, int* status = nullptr)
{
    QProcess p;
    p.start(program, args);
    p.write(input);
    p.closeWriteChannel();
    p.waitForFinished(15000);
    if (status)
        *status = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    return QString::fromUtf8(p.readAllStandardOutput());
}

// A namespace of the test's own, set up by `ip` commands and removed whatever happens.
class TestNamespace {
public:
    explicit TestNamespace(const QByteArray& setup)
        : m_name(QStringLiteral("pl-app-%1").arg(getpid()))
    {
        int status = 1;
        run("ip", {"netns", "add", m_name}, {}, &status);
        if (status == 0)
            run("ip", {"-n", m_name, "-batch", "-"}, "link set lo up\n" + setup, &status);
        m_ready = status == 0;
    }
    ~TestNamespace() { run("ip", {"netns", "del", m_name}); }
    bool ready() const { return m_ready; }

    // The probe's "key value" lines, run inside the namespace.
    QMultiMap<QString, QString> probe(const QStringList& extra) const
    {
        const QString exe = QCoreApplication::applicationDirPath() + QStringLiteral("/interface_probe");
        QMultiMap<QString, QString> seen;
        for (const QString& line : run("ip", QStringList{"netns", "exec", m_name, exe} + extra).split(u'\n'))
            if (!line.isEmpty())
                seen.insert(line.section(u' ', 0, 0), line.section(u' ', 1));
        return seen;
    }

private:
    QString m_name;
    bool m_ready = false;
};

const QByteArray kTunnel = "tuntap add dev plppp0 mode tun\n"
                           "addr add 198.18.9.1 peer 198.18.9.2 dev plppp0\n"
                           "link set plppp0 up\n";

} // namespace

class TestInterfacesReal : public QObject {
    Q_OBJECT
private slots:
    // getifaddrs folded wrongly (lost interfaces, wrong first address) or the default route misread.
    void matchesThisMachine()
    {
        const LinuxInterfaceList list;
        const auto interfaces = list.interfaces();
        const auto find = [&](const QString& name) {
            return std::find_if(interfaces.begin(), interfaces.end(), [&](auto& n) { return n.name == name; });
        };
        const QString links = run("ip", {"-o", "link", "show"});
        if (links.isEmpty())
            QSKIP("iproute2's ip command is not available");
        for (const QString& line : links.split(u'\n', Qt::SkipEmptyParts))
            QVERIFY(find(line.section(u':', 1, 1).trimmed().section(u'@', 0, 0)) != interfaces.end());
        // The first IPv4 address `ip` lists per interface is the one the adapter reports.
        QHash<QString, bool> seen;
        const QRegularExpression addrLine(QStringLiteral(R"(^\d+:\s+(\S+)\s+inet\s+([\d.]+)/)"));
        for (const QString& line : run("ip", {"-o", "-4", "addr", "show"}).split(u'\n')) {
            const auto m = addrLine.match(line);
            if (m.hasMatch() && !std::exchange(seen[m.captured(1)], true)) {
                const auto it = find(m.captured(1));
                QVERIFY(it != interfaces.end() && it->ipv4);
                QCOMPARE(dottedQuad(*it->ipv4), m.captured(2));
            }
        }
        QVERIFY(find("lo") != interfaces.end() && (find("lo")->flags & IFF_LOOPBACK));
        const QRegularExpression dev(QStringLiteral(R"(\bdev\s+(\S+))"));
        QCOMPARE(list.defaultRouteInterface(), dev.match(run("ip", {"-4", "route", "show", "default"})).captured(1));
        QCOMPARE(list.hostName(), QSysInfo::machineHostName());
    }

    // Machines built in a namespace: loopback only must read as not connected; the default route's
    // interface wins over the first one listed; a point-to-point link counts as dial-up only while running.
    void namespaces_data()
    {
        QTest::addColumn<QByteArray>("setup");
        QTest::addColumn<QStringList>("probeArgs");
        QTest::addColumn<QString>("localIp");
        QTest::addColumn<QString>("defaultRoute");
        QTest::addColumn<QString>("dialUp");
        QTest::newRow("loopback only") << QByteArray() << QStringList() << "127.0.0.1" << "" << "0";
        QTest::newRow("default route") << QByteArray("link add plother0 type veth peer name plother1\n"
                                                     "addr add 198.18.50.9/24 dev plother0\n"
                                                     "link set plother0 up\nlink set plother1 up\n"
                                                     "link add plup0 type veth peer name plup1\n"
                                                     "addr add 198.18.60.2/24 dev plup0\n"
                                                     "link set plup0 up\nlink set plup1 up\n"
                                                     "route add default via 198.18.60.1\n")
                                       << QStringList() << "198.18.60.2" << "plup0" << "0";
        QTest::newRow("tunnel without carrier") << kTunnel << QStringList() << "198.18.9.1" << "" << "0";
        QTest::newRow("tunnel held open") << kTunnel << QStringList{"--attach-tun", "plppp0"} << "198.18.9.1" << ""
                                          << "1";
    }
    void namespaces()
    {
        QFETCH(QByteArray, setup);
        QFETCH(QStringList, probeArgs);
        if (geteuid() != 0)
            QSKIP("needs root to create network namespaces (CI runs as root)");
        const TestNamespace ns(setup);
        QVERIFY2(ns.ready(), "could not build the test namespace");
        const auto seen = ns.probe(probeArgs);
        QTEST(seen.value("localip"), "localIp");
        QTEST(seen.value("default"), "defaultRoute");
        QTEST(seen.value("dialup"), "dialUp");
        if (setup.isEmpty())
            QCOMPARE(seen.values("iface").size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestInterfacesReal)
#include "tst_interfaces_real.moc"
