#include "NameLookup.h"

#include "OffThread.h"
#include "SocketsLayer.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>

#include <cstring>

void SystemNameLookup::addressOf(const QString& host, QObject* context,
                                 std::function<void(std::optional<QHostAddress>)> done)
{
    const auto work = [name = host.toUtf8()]() -> std::optional<QHostAddress> {
        if (name.contains('\0'))
            return std::nullopt;
        addrinfo hints{};
        hints.ai_family = AF_UNSPEC;
        hints.ai_socktype = SOCK_RAW;
        addrinfo* list = nullptr;
        std::optional<QHostAddress> v4, v6;
        if (::getaddrinfo(name.constData(), nullptr, &hints, &list) == 0) {
            for (const addrinfo* a = list; a; a = a->ai_next) {
                // A link-local IPv6 address keeps its interface ("fe80::1%eth0").
                if (a->ai_family == AF_INET && !v4 && a->ai_addrlen >= sizeof(sockaddr_in))
                    v4 = sockets_layer::hostAddress(a->ai_addr, a->ai_addrlen);
                else if (a->ai_family == AF_INET6 && !v6 && a->ai_addrlen >= sizeof(sockaddr_in6))
                    v6 = sockets_layer::hostAddress(a->ai_addr, a->ai_addrlen);
            }
            ::freeaddrinfo(list);
        }
        // A name with both keeps to IPv4, as it always has.
        return v4 ? v4 : v6;
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
