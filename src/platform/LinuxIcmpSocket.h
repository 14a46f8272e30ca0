#pragma once
#include "IcmpSocket.h"

class QSocketNotifier;

// An IPv4 ICMP socket of the kernel, read when the event loop sees it readable.
class LinuxIcmpSocket final : public IcmpSocket {
    Q_OBJECT
public:
    // Takes ownership of an open, non-blocking descriptor.
    LinuxIcmpSocket(int fd, Kind kind);
    ~LinuxIcmpSocket() override;

    Kind kind() const override { return m_kind; }
    int send(quint32 destination, int ttl, const QByteArray& icmpMessage) override;
    std::optional<IcmpReceived> receive() override;

private:
    std::optional<IcmpReceived> read(bool errorQueue);

    int m_fd;
    Kind m_kind;
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
    IcmpSocketOpen open() override;

private:
    bool m_rawOnly;
};
