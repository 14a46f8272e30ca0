// A style plugin that anyone can put on QT_PLUGIN_PATH: what it tries once it is loaded into
// the program is what any library loaded after start-up could try. It opens a packet socket
// (a sniffer, which needs CAP_NET_RAW), says how that went, and ends the process.
#include <QStylePlugin>

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <linux/if_ether.h>
#include <sys/socket.h>
#include <unistd.h>

class CapProbe final : public QStylePlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QStyleFactoryInterface_iid FILE "capprobe.json")
public:
    QStyle* create(const QString&) override
    {
        const int fd = ::socket(AF_PACKET, SOCK_RAW, htons(ETH_P_ALL));
        std::printf("packet socket: %s\n", fd >= 0 ? "opened" : std::strerror(errno));
        std::fflush(stdout);
        ::_exit(0);
    }
};

#include "capprobe.moc"
