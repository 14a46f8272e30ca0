#pragma once
#include "platform/InterfaceList.h"

#include <net/if.h>

class FakeInterfaceList final : public InterfaceList {
public:
    std::vector<NetInterface> interfaces() const override { return list; }
    QString defaultRouteInterface(bool ipv6) const override { return ipv6 ? defaultRoute6 : defaultRoute; }
    QString hostName() const override { return host; }

    static NetInterface loopback() { return {QStringLiteral("lo"), IFF_UP | IFF_RUNNING | IFF_LOOPBACK, 0x7f000001u, {}}; }
    static NetInterface ethernet(const QString& name, std::optional<quint32> address, std::optional<QHostAddress> v6 = {})
    {
        return {name, IFF_UP | IFF_RUNNING | IFF_BROADCAST, address, v6};
    }
    static NetInterface dialUp(const QString& name, std::optional<quint32> address, bool running = true,
                               std::optional<QHostAddress> v6 = {})
    {
        return {name, IFF_UP | IFF_POINTOPOINT | (running ? unsigned(IFF_RUNNING) : 0u), address, v6};
    }

    std::vector<NetInterface> list{loopback()};
    QString defaultRoute;
    QString defaultRoute6;
    QString host = QStringLiteral("alpha");
};
