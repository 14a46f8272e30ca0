#include "NameLookup.h"

#include "OffThread.h"
#include "SocketsLayer.h"

#include <netdb.h>
#include <sys/socket.h>

QList<QHostAddress> systemAddressesOf(const QByteArray& host, bool writtenOut)
{
    QList<QHostAddress> addresses;
    if (host.contains('\0'))   // glibc would read a shorter name than the one typed
        return addresses;
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;   // one entry per address
    hints.ai_flags = writtenOut ? AI_NUMERICHOST : 0;
    addrinfo* list = nullptr;
    if (::getaddrinfo(host.constData(), nullptr, &hints, &list) != 0)
        return addresses;
    // A link-local IPv6 address keeps its interface ("fe80::1%eth0"): without it no probe goes out.
    for (const addrinfo* a = list; a; a = a->ai_next) {
        if (a->ai_family == AF_INET || a->ai_family == AF_INET6) {
            if (const QHostAddress address = sockets_layer::hostAddress(a->ai_addr, a->ai_addrlen); !address.isNull())
                addresses << address;
        }
    }
    ::freeaddrinfo(list);
    return addresses;
}

void SystemNameLookup::addressOf(const QString& host, QObject* context,
                                 std::function<void(std::optional<QHostAddress>)> done)
{
    const auto work = [name = host.toUtf8()]() -> std::optional<QHostAddress> {
        const QList<QHostAddress> addresses = systemAddressesOf(name);
        // A name with both keeps to IPv4, as it always has.
        for (const QHostAddress& a : addresses) {
            if (a.protocol() == QAbstractSocket::IPv4Protocol)
                return a;
        }
        return addresses.isEmpty() ? std::nullopt : std::optional(addresses.first());
    };
    runOffThread<std::optional<QHostAddress>>(context, work, std::move(done), std::nullopt);
}

void SystemNameLookup::nameOf(const QHostAddress& address, QObject* context, std::function<void(QString)> done)
{
    const auto work = [address] {
        socklen_t length = 0;
        const sockaddr_storage sa = sockets_layer::socketAddress(address, length);
        char host[NI_MAXHOST];
        QString name;
        if (::getnameinfo(reinterpret_cast<const sockaddr*>(&sa), length, host, sizeof host, nullptr, 0,
                          NI_NAMEREQD) == 0)
            name = QString::fromUtf8(host);
        return name;
    };
    runOffThread<QString>(context, work, std::move(done), QString());
}
