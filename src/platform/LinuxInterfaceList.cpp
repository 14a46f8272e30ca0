#include "InterfaceList.h"

#include <QFile>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <limits.h>
#include <net/if.h>
#include <netinet/in.h>
#include <unistd.h>

#include <algorithm>
#include <array>

std::vector<NetInterface> LinuxInterfaceList::interfaces() const
{
    std::vector<NetInterface> result;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0)
        return result;

    // getifaddrs() lists one entry per address; fold them into one per interface, in order.
    for (const ifaddrs* entry = list; entry; entry = entry->ifa_next) {
        if (!entry->ifa_name)
            continue;
        const QString name = QString::fromUtf8(entry->ifa_name);
        auto it = std::find_if(result.begin(), result.end(), [&](const NetInterface& n) { return n.name == name; });
        if (it == result.end()) {
            result.push_back(NetInterface{name, entry->ifa_flags, std::nullopt, std::nullopt});
            it = result.end() - 1;
        }
        if (entry->ifa_addr && entry->ifa_addr->sa_family == AF_INET && !it->ipv4) {
            sockaddr_in sin{};
            std::copy_n(reinterpret_cast<const char*>(entry->ifa_addr), sizeof sin, reinterpret_cast<char*>(&sin));
            it->ipv4 = ntohl(sin.sin_addr.s_addr);
        }
        if (entry->ifa_addr && entry->ifa_addr->sa_family == AF_INET6 && !it->ipv6) {
            const QHostAddress address(entry->ifa_addr);
            if (!address.isLinkLocal() && !address.isLoopback() && !address.isMulticast())
                it->ipv6 = QHostAddress(address.toIPv6Address());   // without the scope of its interface
        }
    }
    freeifaddrs(list);
    return result;
}

namespace {

// /proc/net/ipv6_route: destination, its prefix length, source, its prefix length, next hop,
// metric, reference count, use, flags, interface; all in hex.
QString ipv6DefaultRouteInterface()
{
    QFile routes(QStringLiteral("/proc/net/ipv6_route"));
    if (!routes.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    constexpr unsigned kRouteUp = 0x1;
    constexpr unsigned kRejectRoute = 0x200;
    QString best;
    qulonglong bestMetric = ~0ULL;
    // Read whole: the kernel gives /proc files no size, so atEnd() may hold before the first line.
    for (const QByteArray& line : routes.readAll().split('\n')) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() < 10 || fields[0] != QByteArray(32, '0') || fields[1] != "00" || fields[9] == "lo")
            continue;
        bool ok = true;
        const qulonglong metric = fields[5].toULongLong(&ok, 16);
        const unsigned flags = ok ? fields[8].toUInt(&ok, 16) : 0;
        if (ok && (flags & kRouteUp) && !(flags & kRejectRoute) && metric < bestMetric) {
            best = QString::fromUtf8(fields[9]);
            bestMetric = metric;
        }
    }
    return best;
}

} // namespace

QString LinuxInterfaceList::defaultRouteInterface(bool ipv6) const
{
    if (ipv6)
        return ipv6DefaultRouteInterface();
    // Columns: Iface Destination Gateway Flags RefCnt Use Metric Mask ...; addresses in hex.
    QFile routes(QStringLiteral("/proc/net/route"));
    if (!routes.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    constexpr unsigned kRouteUp = 0x1;
    QString best;
    qulonglong bestMetric = ~0ULL;
    QList<QByteArray> lines = routes.readAll().split('\n');
    lines.removeFirst();   // the header
    for (const QByteArray& line : std::as_const(lines)) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() < 8)
            continue;
        bool ok = true;
        const unsigned destination = fields[1].toUInt(&ok, 16);
        const unsigned flags = ok ? fields[3].toUInt(&ok, 16) : 0;
        const qulonglong metric = ok ? fields[6].toULongLong(&ok) : 0;
        const unsigned mask = ok ? fields[7].toUInt(&ok, 16) : 1;
        if (ok && destination == 0 && mask == 0 && (flags & kRouteUp) && metric < bestMetric) {
            best = QString::fromUtf8(fields[0]);
            bestMetric = metric;
        }
    }
    return best;
}

QString LinuxInterfaceList::hostName() const
{
    std::array<char, HOST_NAME_MAX + 1> buffer{};
    if (gethostname(buffer.data(), buffer.size() - 1) != 0)
        return {};
    buffer.back() = '\0';
    return QString::fromUtf8(buffer.data());
}
