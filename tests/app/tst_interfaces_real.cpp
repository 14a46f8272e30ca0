// The real interface list inside machines built in lab namespaces (lab/netlab.sh): this program
// runs itself there with --probe and says what the adapter sees.
#include "NetLab.h"
#include "icmp/LocalAddress.h"
#include "platform/InterfaceList.h"

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

const QString kTunnel = "tuntap add dev plppp0 mode tun\naddr add 198.18.9.1 peer 198.18.9.2 dev plppp0\n"
                        "link set plppp0 up\n";

// --probe [TUN]: attached to tun device TUN first (which brings its carrier up), prints
// "local address|dial-up|default route's interface|interfaces with their first IPv4 address".
int probe(const char* tunName)
{
    const int tun = tunName ? open("/dev/net/tun", O_RDWR | O_CLOEXEC) : -1;
    ifreq request{};
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    std::strncpy(request.ifr_name, tunName ? tunName : "", IFNAMSIZ - 1);
    if (tunName && (tun < 0 || ioctl(tun, TUNSETIFF, &request) != 0))
        return std::perror("attach tun"), 1;
    const LinuxInterfaceList list;
    auto interfaces = list.interfaces();
    // The kernel reports the link running only once its deferred link-state work has run.
    for (int tries = 0; tunName && tries < 30 && !firstDialUpConnectionState(interfaces); ++tries)
        usleep(100 * 1000), interfaces = list.interfaces();
    QStringList names;
    for (const NetInterface& n : interfaces)
        names << n.name + (n.ipv4 ? '=' + dottedQuad(*n.ipv4) : QString());
    names.sort();
    std::printf("%s|%d|%s|%s\n", qPrintable(chooseLocalIp(interfaces, list)), firstDialUpConnectionState(interfaces) ? 1 : 0,
                qPrintable(list.defaultRouteInterface()), qPrintable(names.join(u' ')));
    return 0;
}

} // namespace

class TestInterfacesReal : public QObject {
    Q_OBJECT
private slots:
    // Catches loopback only read as connected, the default route's interface losing to the first
    // one listed, a point-to-point link counted as dial-up when not running, an IPv6-only machine
    // read as not connected; interfaces lost or given the wrong address by the adapter.
    void namespaces()
    {
        // The topology, the machine's set-up, a tun device held open, and what the probe sees.
        const std::tuple<QString, QString, QString, QString> cases[] = {
            {"bare",
             "link add plother0 type veth peer name plother1\naddr add 198.18.50.9/24 dev plother0\n"
             "addr add 198.18.51.9/24 dev plother0\nlink set plother0 up\nlink set plother1 up\n"
             "link add plup0 type veth peer name plup1\naddr add 198.18.60.2/24 dev plup0\n"
             "link set plup0 up\nlink set plup1 up\nroute add default via 198.18.60.1\n",
             "", "198.18.60.2|0|plup0|lo=127.0.0.1 plother0=198.18.50.9 plother1 plup0=198.18.60.2 plup1"},
            {"bare", kTunnel, "", "198.18.9.1|0||lo=127.0.0.1 plppp0=198.18.9.1"},
            {"bare", kTunnel, "plppp0", "198.18.9.1|1||lo=127.0.0.1 plppp0=198.18.9.1"},
            {"v6only", "", "", "2001:db8:60::2|0|"}};   // the IPv6-only machine's interfaces are its own business
        for (const auto& [topology, setup, tun, seen] : cases) {
            NetLab lab(topology);
            NETLAB_REQUIRE(lab);
            QProcess ip;
            ip.start("ip", {"-n", lab.name("h"), "-batch", "-"});
            ip.write(setup.toUtf8());
            ip.closeWriteChannel();
            QVERIFY(ip.waitForFinished(10000) && ip.exitCode() == 0);
            QStringList args{QCoreApplication::applicationFilePath(), "--probe"};
            QProcess* probe = lab.start("h", tun.isEmpty() ? args : args << tun);
            QVERIFY(probe->waitForFinished(15000));
            const QString out = QString::fromUtf8(probe->readAllStandardOutput()).trimmed();
            QVERIFY2(topology == "v6only" ? out.startsWith(seen) : out == seen, qPrintable(out));
        }
    }
};

int main(int argc, char** argv)
{
    if (argc >= 2 && std::strcmp(argv[1], "--probe") == 0)
        return probe(argc > 2 ? argv[2] : nullptr);
    QCoreApplication app(argc, argv);
    TestInterfacesReal test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_interfaces_real.moc"
