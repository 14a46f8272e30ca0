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
    QHostAddress offender;                   // the router that sent the error
};

// An open ICMP socket of one IP version. Lives on the UI thread; readyRead comes from its event loop.
class IcmpSocket : public QObject {
    Q_OBJECT
public:
    enum class Kind { Datagram, Raw };
    using QObject::QObject;

    virtual Kind kind() const = 0;
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
