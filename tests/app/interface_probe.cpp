// Prints what the real interface-list adapter sees, for tests that run it inside a network namespace.
//   interface_probe [--attach-tun NAME]
// With --attach-tun it first attaches to an existing tun device, which brings its carrier up.
#include "app/DialUp.h"
#include "icmp/LocalAddress.h"
#include "platform/LinuxInterfaceList.h"

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    int tun = -1;
    if (argc == 3 && std::strcmp(argv[1], "--attach-tun") == 0) {
        tun = open("/dev/net/tun", O_RDWR | O_CLOEXEC);
        ifreq request{};
        request.ifr_flags = IFF_TUN | IFF_NO_PI;
        std::strncpy(request.ifr_name, argv[2], IFNAMSIZ - 1);
        if (tun < 0 || ioctl(tun, TUNSETIFF, &request) != 0) {
            std::perror("attach tun");
            return 1;
        }
    }
    const LinuxInterfaceList list;
    auto interfaces = list.interfaces();
    if (tun >= 0) {
        // The kernel reports the link running only once its deferred link-state work has run.
        for (int tries = 0; tries < 30; ++tries) {
            const auto it = std::find_if(interfaces.begin(), interfaces.end(),
                                         [&](const NetInterface& n) { return n.name == QLatin1String(argv[2]); });
            if (it != interfaces.end() && (it->flags & IFF_RUNNING))
                break;
            usleep(100 * 1000);
            interfaces = list.interfaces();
        }
    }
    for (const NetInterface& n : interfaces) {
        std::printf("iface %s %x %s\n", qPrintable(n.name), n.flags,
                    n.ipv4 ? qPrintable(dottedQuad(*n.ipv4)) : "-");
    }
    std::printf("default %s\n", qPrintable(list.defaultRouteInterface()));
    std::printf("localip %s\n", qPrintable(chooseLocalIp(interfaces, list)));
    std::printf("dialup %d\n", firstDialUpConnectionState(interfaces) == RASCS_Connected ? 1 : 0);
    std::printf("hostname %s\n", qPrintable(list.hostName()));
    if (tun >= 0)
        close(tun);
    return 0;
}
