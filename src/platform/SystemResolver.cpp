#include "SystemResolver.h"

#include <netdb.h>
#include <sys/socket.h>

bool SystemResolver::gethostbyname(const QByteArray& host)
{
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* result = nullptr;
    const int status = ::getaddrinfo(host.constData(), nullptr, &hints, &result);
    if (result)
        ::freeaddrinfo(result);
    return status == 0;
}
