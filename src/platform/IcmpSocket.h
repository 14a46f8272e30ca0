#pragma once
#include <QByteArray>
#include <QObject>

#include <memory>
#include <optional>

// One thing read from an ICMP socket.
struct IcmpReceived {
    // Datagram socket: the ICMP message. Raw socket: the whole IP packet.
    // Error-queue entry: the ICMP message we sent, which the error answers.
    QByteArray bytes;
    quint32 source = 0;                      // host byte order
    std::optional<qint64> kernelTimeNs;      // CLOCK_REALTIME receive stamp of the kernel
    int ttl = -1;                            // IP TTL when the socket reports it apart from the bytes
    bool truncated = false;                  // larger than the read buffer

    // Error-queue entries of a datagram socket: the ICMP error the kernel took in for us.
    bool queuedError = false;
    quint8 errorType = 0;
    quint8 errorCode = 0;
    quint32 offender = 0;                    // the router that sent the error, host byte order
};

// An open ICMP socket. Lives on the UI thread; readyRead comes from its event loop.
class IcmpSocket : public QObject {
    Q_OBJECT
public:
    enum class Kind { Datagram, Raw };
    using QObject::QObject;

    virtual Kind kind() const = 0;
    // Sends one ICMP message (header and data) with the given IP TTL. 0 or the errno.
    // The kernel rewrites the identifier on a datagram socket.
    virtual int send(quint32 destination, int ttl, const QByteArray& icmpMessage) = 0;
    // The next waiting item, or nothing; never blocks.
    virtual std::optional<IcmpReceived> receive() = 0;

signals:
    void readyRead();
};

struct IcmpSocketOpen {
    std::unique_ptr<IcmpSocket> socket;      // null when neither kind could be opened
    int datagramErrno = 0;
    int rawErrno = 0;
};

// Opens a datagram ICMP socket where net.ipv4.ping_group_range allows it, else a raw one.
class IcmpSocketFactory {
public:
    virtual ~IcmpSocketFactory() = default;
    virtual IcmpSocketOpen open() = 0;
};
