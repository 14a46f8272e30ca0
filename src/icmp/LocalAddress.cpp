#include "LocalAddress.h"

#include <net/if.h>

QString dottedQuad(quint32 a)
{
    return QStringLiteral("%1.%2.%3.%4").arg(a >> 24).arg((a >> 16) & 0xff).arg((a >> 8) & 0xff).arg(a & 0xff);
}

QString chooseLocalIp(const std::vector<NetInterface>& interfaces, const InterfaceList& routes)
{
    const auto usable = [](const NetInterface& n) { return (n.flags & IFF_UP) && !(n.flags & IFF_LOOPBACK); };
    const QString route4 = routes.defaultRouteInterface(false);
    for (const NetInterface& n : interfaces) {
        if (!route4.isEmpty() && n.name == route4 && n.ipv4)
            return dottedQuad(*n.ipv4);
    }
    for (const NetInterface& n : interfaces) {
        if (usable(n) && n.ipv4)
            return dottedQuad(*n.ipv4);
    }
    // An IPv6-only network: the machine still has a connection of its own.
    const QString route6 = routes.defaultRouteInterface(true);
    for (const NetInterface& n : interfaces) {
        if (!route6.isEmpty() && n.name == route6 && n.ipv6)
            return n.ipv6->toString();
    }
    for (const NetInterface& n : interfaces) {
        if (usable(n) && n.ipv6)
            return n.ipv6->toString();
    }
    return QStringLiteral("127.0.0.1");
}

quint32 firstDialUpConnectionState(const std::vector<NetInterface>& interfaces)
{
    constexpr unsigned kActive = IFF_POINTOPOINT | IFF_UP | IFF_RUNNING;
    for (const NetInterface& n : interfaces) {
        if ((n.flags & kActive) == kActive && (n.ipv4 || n.ipv6))
            return RASCS_Connected;
    }
    return 0;
}
