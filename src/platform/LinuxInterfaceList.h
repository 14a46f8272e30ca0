#pragma once
#include "InterfaceList.h"

// getifaddrs(), /proc/net/route and gethostname().
class LinuxInterfaceList final : public InterfaceList {
public:
    std::vector<NetInterface> interfaces() const override;
    QString defaultRouteInterface() const override;
    QString hostName() const override;
};
