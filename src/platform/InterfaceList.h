#pragma once
#include <QString>
#include <QtGlobal>

#include <optional>
#include <vector>

// One network interface as the kernel lists it.
struct NetInterface {
    QString name;
    unsigned flags = 0;                // IFF_* flags
    std::optional<quint32> ipv4;       // first IPv4 address, host byte order
};

// This machine's interfaces, default route and host name. Reading sends no packet.
class InterfaceList {
public:
    virtual ~InterfaceList() = default;
    // Empty when the list cannot be read.
    virtual std::vector<NetInterface> interfaces() const = 0;
    // Name of the interface that carries the IPv4 default route; empty if none.
    virtual QString defaultRouteInterface() const = 0;
    virtual QString hostName() const = 0;
};
