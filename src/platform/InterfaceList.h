#pragma once
#include <QHostAddress>
#include <QString>
#include <QtGlobal>

#include <optional>
#include <vector>

// One network interface as the kernel lists it.
struct NetInterface {
    QString name;
    unsigned flags = 0;                // IFF_* flags
    std::optional<quint32> ipv4;       // first IPv4 address, host byte order
    std::optional<QHostAddress> ipv6;  // first global IPv6 address (not link-local, loopback or multicast)
};

// This machine's interfaces, default routes and host name. Reading sends no packet.
class InterfaceList {
public:
    virtual ~InterfaceList() = default;
    // Empty when the list cannot be read.
    virtual std::vector<NetInterface> interfaces() const = 0;
    // Name of the interface that carries the IPv4 (or IPv6) default route; empty if none.
    virtual QString defaultRouteInterface(bool ipv6 = false) const = 0;
    virtual QString hostName() const = 0;
};

// getifaddrs(), /proc/net/route, /proc/net/ipv6_route and gethostname().
class LinuxInterfaceList final : public InterfaceList {
public:
    std::vector<NetInterface> interfaces() const override;
    QString defaultRouteInterface(bool ipv6 = false) const override;
    QString hostName() const override;
};
