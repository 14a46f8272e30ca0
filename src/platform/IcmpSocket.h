#pragma once
#include <QAbstractSocket>
#include <QByteArray>
#include <QHostAddress>
#include <QObject>

#include <memory>
#include <optional>

// One thing read from an ICMP or ICMPv6 socket.
struct IcmpReceived {
    // IPv4 raw socket: the whole IP packet. Otherwise: the ICMP message.
    // Error-queue entry: the ICMP message we sent, which the error answers.
    QByteArray bytes;
    // The sender; for an error-queue entry, the destination of the probe the error quotes.
    QHostAddress source;
    std::optional<qint64> kernelTimeNs;      // CLOCK_REALTIME receive stamp of the kernel
    int ttl = -1;                            // TTL / hop limit when the socket reports it apart from the bytes
    bool truncated = false;                  // larger than the read buffer

    // Error-queue entries of a datagram socket: the ICMP error the kernel took in for us.
    bool queuedError = false;
    quint8 errorType = 0;
    quint8 errorCode = 0;
    quint32 errorInfo = 0;                   // the MTU of a "too big" error
    QHostAddress offender;                   // the router that sent the error
};

// An open ICMP socket of one IP version. Lives on the UI thread; readyRead comes from its event loop.
class IcmpSocket : public QObject {
    Q_OBJECT
public:
    enum class SocketType { Datagram, Raw };
    using QObject::QObject;

    virtual SocketType socketType() const = 0;
    // Sends one ICMP message (header and data) with the given TTL / hop limit. 0 or the errno.
    // The kernel rewrites the identifier on a datagram socket.
    virtual int send(const QHostAddress& destination, int ttl, const QByteArray& icmpMessage) = 0;
    // The next waiting item, or nothing; never blocks.
    virtual std::optional<IcmpReceived> receive() = 0;

signals:
    void readyRead();
};

struct IcmpSocketOpen {
    std::unique_ptr<IcmpSocket> socket;      // null when no socket could be set up
    int datagramErrno = 0;                   // why the datagram socket could not be had
    int rawErrno = 0;                        // why the raw socket could not be had
    // A socket was opened but an option it cannot work without was refused.
    const char* failedOption = nullptr;
    int optionErrno = 0;
};

// Opens a datagram ICMP socket where net.ipv4.ping_group_range allows it, else a raw one.
class IcmpSocketFactory {
public:
    virtual ~IcmpSocketFactory() = default;
    virtual IcmpSocketOpen open(QAbstractSocket::NetworkLayerProtocol protocol) = 0;
};

class QSocketNotifier;

// An ICMP (IPv4) or ICMPv6 socket of the kernel, read when the event loop sees it readable.
class LinuxIcmpSocket final : public IcmpSocket {
    Q_OBJECT
public:
    // Takes ownership of an open, non-blocking descriptor of that address family.
    LinuxIcmpSocket(int fd, SocketType type, int addressFamily);
    ~LinuxIcmpSocket() override;

    SocketType socketType() const override { return m_type; }
    int send(const QHostAddress& destination, int ttl, const QByteArray& icmpMessage) override;
    std::optional<IcmpReceived> receive() override;

private:
    std::optional<IcmpReceived> read(bool errorQueue);

    int m_fd;
    SocketType m_type;
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
