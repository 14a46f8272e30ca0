#include "SocketsLayer.h"

#include <QCoreApplication>
#include <QNetworkInterface>

#include <arpa/inet.h>
#include <atomic>
#include <cstring>

namespace {
std::atomic<int> g_startups{0};
}

namespace sockets_layer {

int startup(quint16 versionRequested, WSADATA& data)
{
    if ((versionRequested & 0xFF) < 1)
        return WSAVERNOTSUPPORTED;
    data = WSADATA{};
    data.wVersion = kVersion11;
    data.wHighVersion = kVersion11;
    std::strcpy(data.szDescription, "glibc sockets");
    std::strcpy(data.szSystemStatus, "Running");
    data.iMaxSockets = 0xFFFF;
    data.iMaxUdpDg = 0xFFFF;
    ++g_startups;
    return 0;
}

int cleanup()
{
    int n = g_startups.load();
    while (n > 0 && !g_startups.compare_exchange_weak(n, n - 1)) {
    }
    return n > 0 ? 0 : WSANOTINITIALISED;
}

int startups()
{
    return g_startups.load();
}


sockaddr_storage socketAddress(const QHostAddress& address, socklen_t& length)
{
    sockaddr_storage storage{};
    if (address.protocol() == QAbstractSocket::IPv6Protocol) {
        auto& s6 = reinterpret_cast<sockaddr_in6&>(storage);
        s6.sin6_family = AF_INET6;
        const Q_IPV6ADDR bytes = address.toIPv6Address();
        std::memcpy(&s6.sin6_addr, bytes.c, sizeof s6.sin6_addr);
        // A link-local address needs its interface: "fe80::1%eth0" or "fe80::1%2". Looked up
        // only then: the lookup asks the kernel, between the probe's time stamp and its send.
        const QString scope = address.scopeId();
        bool numeric = false;
        const uint index = scope.toUInt(&numeric);
        s6.sin6_scope_id = scope.isEmpty() ? 0 : numeric ? index : uint(QNetworkInterface::interfaceIndexFromName(scope));
        length = sizeof s6;
    } else {
        auto& s4 = reinterpret_cast<sockaddr_in&>(storage);
        s4.sin_family = AF_INET;
        s4.sin_addr.s_addr = htonl(address.toIPv4Address());
        length = sizeof s4;
    }
    return storage;
}

QHostAddress hostAddress(const sockaddr* address, socklen_t length)
{
    if (length >= socklen_t(sizeof(sockaddr_in)) && address->sa_family == AF_INET)
        return QHostAddress(address);
    if (length < socklen_t(sizeof(sockaddr_in6)) || address->sa_family != AF_INET6)
        return {};
    sockaddr_in6 s6;
    std::memcpy(&s6, address, sizeof s6);
    QHostAddress result(s6.sin6_addr.s6_addr);
    // The interface by name where it still exists, as "fe80::1%eth0" is written; else its number.
    if (s6.sin6_scope_id != 0) {
        const QString name = QNetworkInterface::interfaceNameFromIndex(int(s6.sin6_scope_id));
        result.setScopeId(name.isEmpty() ? QString::number(s6.sin6_scope_id) : name);
    }
    return result;
}

} // namespace sockets_layer

quint32 inet_addr(const QByteArray& text)
{
    // A NUL inside the text would make glibc read a shorter text than the user typed.
    if (text.contains('\0'))
        return INADDR_NONE;
    return ::inet_addr(text.constData());
}

QByteArray inet6Address(const QByteArray& text)
{
    in6_addr address{};
    if (text.contains('\0') || ::inet_pton(AF_INET6, text.constData(), &address) != 1)
        return {};
    return QByteArray(reinterpret_cast<const char*>(address.s6_addr), sizeof address.s6_addr);
}

WindowMessage::WindowMessage(quint32 msg_, quintptr wParam_, qintptr lParam_)
    : QEvent(eventType())
    , msg(msg_)
    , wParam(wParam_)
    , lParam(lParam_)
{
}

QEvent::Type WindowMessage::eventType()
{
    static const auto type = QEvent::Type(QEvent::registerEventType());
    return type;
}

void completeLookup(QObject* hWnd, quint32 wMsg, qint32 handle, char* buf, int buflen, const QByteArray& entry,
                    quint16 error, quint16 length)
{
    if (!hWnd)
        return;
    if (buf && buflen > 0)
        std::memcpy(buf, entry.constData(), size_t(qMin<qsizetype>(buflen, entry.size())));
    WindowMessage message(wMsg, quintptr(handle), makeAsyncLParam(length, error));
    QCoreApplication::sendEvent(hWnd, &message);
}

namespace {

class WindowMessageFilter final : public QObject {
public:
    WindowMessageFilter(QObject* window, std::function<void(const WindowMessage&)> handler)
        : QObject(window)
        , m_handler(std::move(handler))
    {
        window->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() != WindowMessage::eventType())
            return false;
        m_handler(*static_cast<WindowMessage*>(event));
        return true;
    }

private:
    std::function<void(const WindowMessage&)> m_handler;
};

} // namespace

void onWindowMessage(QObject* window, std::function<void(const WindowMessage&)> handler)
{
    new WindowMessageFilter(window, std::move(handler));
}
