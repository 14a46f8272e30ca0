#include "DialUp.h"

#include <net/if.h>

quint32 firstDialUpConnectionState(const std::vector<NetInterface>& interfaces)
{
    constexpr unsigned kActive = IFF_POINTOPOINT | IFF_UP | IFF_RUNNING;
    for (const NetInterface& n : interfaces) {
        if ((n.flags & kActive) == kActive && (n.ipv4 || n.ipv6))
            return RASCS_Connected;
    }
    return 0;
}
