#include "LocalAddress.h"

#include <net/if.h>

QString dottedQuad(quint32 a)
{
    return QStringLiteral("%1.%2.%3.%4").arg(a >> 24).arg((a >> 16) & 0xff).arg((a >> 8) & 0xff).arg(a & 0xff);
}

QString chooseLocalIp(const std::vector<NetInterface>& interfaces, const QString& defaultRouteInterface)
{
    if (!defaultRouteInterface.isEmpty()) {
        for (const NetInterface& n : interfaces) {
            if (n.name == defaultRouteInterface && n.ipv4)
                return dottedQuad(*n.ipv4);
        }
    }
    for (const NetInterface& n : interfaces) {
        if ((n.flags & IFF_UP) && !(n.flags & IFF_LOOPBACK) && n.ipv4)
            return dottedQuad(*n.ipv4);
    }
    return QStringLiteral("127.0.0.1");
}
