#include "SystemNameLookup.h"

#include "OffThread.h"

#include <arpa/inet.h>
#include <netdb.h>


void SystemNameLookup::addressOf(const QString& host, QObject* context,
                                 std::function<void(std::optional<quint32>)> done)
{
    const auto work = [name = host.toUtf8()]() -> std::optional<quint32> {
        addrinfo hints{};
        hints.ai_family = AF_INET;
        hints.ai_socktype = SOCK_RAW;
        addrinfo* list = nullptr;
        std::optional<quint32> address;
        if (::getaddrinfo(name.constData(), nullptr, &hints, &list) == 0) {
            for (const addrinfo* a = list; a && !address; a = a->ai_next) {
                if (a->ai_family == AF_INET && a->ai_addrlen >= sizeof(sockaddr_in))
                    address = ntohl(reinterpret_cast<const sockaddr_in*>(a->ai_addr)->sin_addr.s_addr);
            }
            ::freeaddrinfo(list);
        }
        return address;
    };
    runOffThread<std::optional<quint32>>(context, work, std::move(done), std::nullopt);
}

void SystemNameLookup::nameOf(quint32 address, QObject* context, std::function<void(QString)> done)
{
    const auto work = [address] {
        sockaddr_in sa{};
        sa.sin_family = AF_INET;
        sa.sin_addr.s_addr = htonl(address);
        char host[NI_MAXHOST];
        QString name;
        if (::getnameinfo(reinterpret_cast<const sockaddr*>(&sa), sizeof sa, host, sizeof host, nullptr, 0,
                          NI_NAMEREQD) == 0)
            name = QString::fromUtf8(host);
        return name;
    };
    runOffThread<QString>(context, work, std::move(done), QString());
}
