#pragma once
#include "platform/InterfaceList.h"

#include <net/if.h>

class FakeInterfaceList final : public InterfaceList {
public:
    std::vector<NetInterface> interfaces() const override { return list; }
    QString defaultRouteInterface() const override { return defaultRoute; }
    QString hostName() const override { return host; }

    static NetInterface loopback() { return {QStringLiteral("lo"), IFF_UP | IFF_RUNNING | IFF_LOOPBACK, 0x7f000001u}; }
    static NetInterface ethernet(const QString& name, quint32 address)
    {
        return {name, IFF_UP | IFF_RUNNING | IFF_BROADCAST, address};
    }
    static NetInterface dialUp(const QString& name, std::optional<quint32> address, bool running = true)
    {
        return {name, IFF_UP | IFF_POINTOPOINT | (running ? unsigned(IFF_RUNNING) : 0u), address};
    }

    std::vector<NetInterface> list{loopback()};
    QString defaultRoute;
    QString host = QStringLiteral("alpha");
};
