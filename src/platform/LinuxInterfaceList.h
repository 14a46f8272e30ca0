#pragma once
#include "InterfaceList.h"

// getifaddrs(), /proc/net/route, /proc/net/ipv6_route and gethostname().
class LinuxInterfaceList final : public InterfaceList {
public:
    std::vector<NetInterface> interfaces() const override;
    QString defaultRouteInterface(bool ipv6 = false) const override;
    QString hostName() const override;
};
