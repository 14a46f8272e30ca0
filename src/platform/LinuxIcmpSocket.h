#pragma once
#include "IcmpSocket.h"

class QSocketNotifier;

// An ICMP (IPv4) or ICMPv6 socket of the kernel, read when the event loop sees it readable.
class LinuxIcmpSocket final : public IcmpSocket {
    Q_OBJECT
public:
    // Takes ownership of an open, non-blocking descriptor of that address family.
    LinuxIcmpSocket(int fd, Kind kind, int addressFamily);
    ~LinuxIcmpSocket() override;

    Kind kind() const override { return m_kind; }
    int send(const QHostAddress& destination, int ttl, const QByteArray& icmpMessage) override;
    std::optional<IcmpReceived> receive() override;

private:
    std::optional<IcmpReceived> read(bool errorQueue);

    int m_fd;
    Kind m_kind;
    int m_family;
    int m_ttl = -1;
    QSocketNotifier* m_notifier;
};

class LinuxIcmpSocketFactory final : public IcmpSocketFactory {
public:
    // rawOnly skips the datagram socket, e.g. to exercise the raw path where both are allowed.
    explicit LinuxIcmpSocketFactory(bool rawOnly = false)
        : m_rawOnly(rawOnly)
    {
    }
    IcmpSocketOpen open(QAbstractSocket::NetworkLayerProtocol protocol) override;

private:
    bool m_rawOnly;
};

// Call first thing in main(), before the application object exists and before any plugin can
// be loaded: where the datagram sockets are not allowed but the process has CAP_NET_RAW (a
// program given `setcap cap_net_raw+ep`, or root), opens the raw ICMP sockets it will need,
// then drops every capability for good. Returns false when the capabilities could not be dropped.
bool openRawSocketsAndDropCapabilities();
