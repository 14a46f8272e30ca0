#include "NameLookup.h"

#include "OffThread.h"

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
                if (a->ai_family == AF_INET && !v4 && a->ai_addrlen >= sizeof(sockaddr_in))
                    v4 = QHostAddress(a->ai_addr);
                else if (a->ai_family == AF_INET6 && !v6 && a->ai_addrlen >= sizeof(sockaddr_in6))
                    v6 = QHostAddress(a->ai_addr);
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
        sockaddr_storage sa{};
        socklen_t length = 0;
        if (address.protocol() == QAbstractSocket::IPv6Protocol) {
            auto& s6 = reinterpret_cast<sockaddr_in6&>(sa);
            s6.sin6_family = AF_INET6;
            const Q_IPV6ADDR bytes = address.toIPv6Address();
            std::memcpy(&s6.sin6_addr, bytes.c, sizeof s6.sin6_addr);
            length = sizeof s6;
        } else {
            auto& s4 = reinterpret_cast<sockaddr_in&>(sa);
            s4.sin_family = AF_INET;
            s4.sin_addr.s_addr = htonl(address.toIPv4Address());
            length = sizeof s4;
        }
        char host[NI_MAXHOST];
        QString name;
        if (::getnameinfo(reinterpret_cast<const sockaddr*>(&sa), length, host, sizeof host, nullptr, 0,
                          NI_NAMEREQD) == 0)
            name = QString::fromUtf8(host);
        return name;
    };
    runOffThread<QString>(context, work, std::move(done), QString());
}
