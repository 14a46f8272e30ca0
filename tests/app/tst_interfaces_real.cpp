// The real interface-list adapter, on this machine and inside lab namespaces (lab/netlab.sh).
#include "NetLab.h"
#include "icmp/LocalAddress.h"
#include "platform/LinuxInterfaceList.h"

#include <QRegularExpression>

#include <net/if.h>

namespace {

QString run(const QString& program, const QStringList& args)
{
    QProcess p;
    p.start(program, args);
    p.waitForFinished(15000);
    return QString::fromUtf8(p.readAllStandardOutput());
}

const QString kTunnel = "tuntap add dev plppp0 mode tun\naddr add 198.18.9.1 peer 198.18.9.2 dev plppp0\n"
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
        QCOMPARE(list.defaultRouteInterface(true), dev.match(run("ip", {"-6", "route", "show", "default"})).captured(1));
        QCOMPARE(list.hostName(), QSysInfo::machineHostName());
    }

    // Machines built in a namespace: loopback only must read as not connected; the default route's
    // interface wins over the first one listed; a point-to-point link counts as dial-up only while
    // running; a machine whose only global address is IPv6 is connected and shows that address.
    void namespaces_data()
    {
        QTest::addColumn<QString>("topology");
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QStringList>("probeArgs");
        QTest::addColumn<QString>("localIp");
        QTest::addColumn<QString>("dialUp");
        QTest::newRow("loopback only") << "bare" << "" << QStringList() << "127.0.0.1" << "0";
        QTest::newRow("default route") << "bare"
                                       << "link add plother0 type veth peer name plother1\naddr add 198.18.50.9/24 dev plother0\n"
                                          "link set plother0 up\nlink set plother1 up\n"
                                          "link add plup0 type veth peer name plup1\naddr add 198.18.60.2/24 dev plup0\n"
                                          "link set plup0 up\nlink set plup1 up\nroute add default via 198.18.60.1\n"
                                       << QStringList() << "198.18.60.2" << "0";
        QTest::newRow("tunnel without carrier") << "bare" << kTunnel << QStringList() << "198.18.9.1" << "0";
        QTest::newRow("tunnel held open") << "bare" << kTunnel << QStringList{"--attach-tun", "plppp0"} << "198.18.9.1" << "1";
        QTest::newRow("IPv6 only") << "v6only" << "" << QStringList() << "2001:db8:60::2" << "0";
    }
    void namespaces()
    {
        QFETCH(QString, topology);
        QFETCH(QString, setup);
        QFETCH(QStringList, probeArgs);
        NetLab lab(topology);
        NETLAB_REQUIRE(lab);
        QProcess ip;
        ip.start("ip", {"-n", lab.name("h"), "-batch", "-"});
        ip.write(setup.toUtf8());
        ip.closeWriteChannel();
        QVERIFY(ip.waitForFinished(10000) && ip.exitCode() == 0);
        QMultiMap<QString, QString> seen;
        const QString probe = QCoreApplication::applicationDirPath() + QStringLiteral("/interface_probe");
        for (const QString& line : QString::fromUtf8(lab.run("h", QStringList{probe} + probeArgs).out).split(u'\n'))
            seen.insert(line.section(u' ', 0, 0), line.section(u' ', 1));
        QTEST(seen.value("localip"), "localIp");
        QTEST(seen.value("dialup"), "dialUp");
    }
};

QTEST_GUILESS_MAIN(TestInterfacesReal)
#include "tst_interfaces_real.moc"
