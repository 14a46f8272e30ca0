#include "LinuxIcmpSocket.h"

#include <QSocketNotifier>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/errqueue.h>
#include <linux/icmp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Answers carry at most a quoted IP header and 8 bytes beyond our own small probe;
// 4 KiB leaves room for routers that quote more (RFC 4884).
constexpr int kReadBuffer = 4096;
// Enough for a burst of errors arriving while we send: each failed send clears one.
constexpr int kSendAttempts = 8;

int openSocket(int type)
{
    const int fd = ::socket(AF_INET, type | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_ICMP);
    return fd >= 0 ? fd : -errno;
}

void enable(int fd, int level, int option)
{
    const int on = 1;
    ::setsockopt(fd, level, option, &on, sizeof on);
}

} // namespace

IcmpSocketOpen LinuxIcmpSocketFactory::open()
{
    IcmpSocketOpen result;
    // Datagram first: it needs no privilege where net.ipv4.ping_group_range holds the
    // user's group (EACCES otherwise), and the kernel filters replies for us.
    int fd = m_rawOnly ? -EACCES : openSocket(SOCK_DGRAM);
    if (fd >= 0) {
        // ICMP errors about our probes come through the error queue.
        enable(fd, SOL_IP, IP_RECVERR);
        enable(fd, SOL_IP, IP_RECVTTL);
        enable(fd, SOL_SOCKET, SO_TIMESTAMPNS);
        result.socket = std::make_unique<LinuxIcmpSocket>(fd, IcmpSocket::Kind::Datagram);
        return result;
    }
    result.datagramErrno = -fd;
    // Raw needs root or CAP_NET_RAW (EPERM otherwise); it sees every ICMP packet of the host.
    fd = openSocket(SOCK_RAW);
    if (fd < 0) {
        result.rawErrno = -fd;
        return result;
    }
    // Only the answers a probe can get; echo requests, redirects and the rest stay in the kernel.
    icmp_filter filter{};
    filter.data = ~((1U << ICMP_ECHOREPLY) | (1U << ICMP_DEST_UNREACH) | (1U << ICMP_SOURCE_QUENCH)
                    | (1U << ICMP_TIME_EXCEEDED) | (1U << ICMP_PARAMETERPROB));
    ::setsockopt(fd, SOL_RAW, ICMP_FILTER, &filter, sizeof filter);
    enable(fd, SOL_SOCKET, SO_TIMESTAMPNS);
    result.socket = std::make_unique<LinuxIcmpSocket>(fd, IcmpSocket::Kind::Raw);
    return result;
}

LinuxIcmpSocket::LinuxIcmpSocket(int fd, Kind kind)
    : m_fd(fd)
    , m_kind(kind)
    , m_notifier(new QSocketNotifier(fd, QSocketNotifier::Read, this))
{
    connect(m_notifier, &QSocketNotifier::activated, this, &IcmpSocket::readyRead);
}

LinuxIcmpSocket::~LinuxIcmpSocket()
{
    m_notifier->setEnabled(false);
    ::close(m_fd);
}

int LinuxIcmpSocket::send(quint32 destination, int ttl, const QByteArray& icmpMessage)
{
    if (ttl != m_ttl) {
        if (::setsockopt(m_fd, SOL_IP, IP_TTL, &ttl, sizeof ttl) != 0)
            return errno;
        m_ttl = ttl;
    }
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(destination);
    // An ICMP error that reached a datagram socket is also kept as the socket's pending
    // error, which fails the next send once (the error itself waits in the error queue).
    // A failure that comes back every time is the send's own.
    for (int attempt = 0;; ++attempt) {
        const ssize_t sent = ::sendto(m_fd, icmpMessage.constData(), size_t(icmpMessage.size()), 0,
                                      reinterpret_cast<const sockaddr*>(&to), sizeof to);
        if (sent >= 0)
            return sent == icmpMessage.size() ? 0 : EMSGSIZE;
        if (m_kind == Kind::Raw || errno == EAGAIN || errno == EINTR || attempt == kSendAttempts - 1)
            return errno;
    }
}

std::optional<IcmpReceived> LinuxIcmpSocket::receive()
{
    // The error queue first: a pending error also fails the next plain read once.
    for (int attempt = 0; attempt < 8; ++attempt) {
        if (m_kind == Kind::Datagram) {
            if (auto queued = read(true)) {
                // Local errors (a send the kernel refused) are no answer from the network.
                if (queued->queuedError)
                    return queued;
                continue;
            }
        }
        errno = 0;
        if (auto received = read(false))
            return received;
        if (errno == EAGAIN || errno == EWOULDBLOCK || errno == 0)
            return std::nullopt;
    }
    return std::nullopt;
}

std::optional<IcmpReceived> LinuxIcmpSocket::read(bool errorQueue)
{
    char data[kReadBuffer];
    alignas(cmsghdr) char control[512];
    sockaddr_in from{};
    iovec iov{data, sizeof data};
    msghdr msg{};
    msg.msg_name = &from;
    msg.msg_namelen = sizeof from;
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    msg.msg_control = control;
    msg.msg_controllen = sizeof control;

    const ssize_t n = ::recvmsg(m_fd, &msg, MSG_DONTWAIT | (errorQueue ? MSG_ERRQUEUE : 0));
    if (n < 0)
        return std::nullopt;

    IcmpReceived r;
    r.truncated = (msg.msg_flags & MSG_TRUNC) != 0;
    r.bytes = QByteArray(data, int(std::min<ssize_t>(n, sizeof data)));
    r.source = ntohl(from.sin_addr.s_addr);
    bool icmpOrigin = false;
    for (cmsghdr* c = CMSG_FIRSTHDR(&msg); c; c = CMSG_NXTHDR(&msg, c)) {
        const size_t payload = c->cmsg_len - CMSG_LEN(0);
        if (c->cmsg_level == SOL_SOCKET && c->cmsg_type == SCM_TIMESTAMPNS && payload >= sizeof(timespec)) {
            timespec ts;
            std::memcpy(&ts, CMSG_DATA(c), sizeof ts);
            r.kernelTimeNs = qint64(ts.tv_sec) * 1000000000 + ts.tv_nsec;
        } else if (c->cmsg_level == SOL_IP && c->cmsg_type == IP_TTL && payload >= sizeof(int)) {
            int ttl;
            std::memcpy(&ttl, CMSG_DATA(c), sizeof ttl);
            r.ttl = ttl;
        } else if (c->cmsg_level == SOL_IP && c->cmsg_type == IP_RECVERR && payload >= sizeof(sock_extended_err)) {
            sock_extended_err ee;
            std::memcpy(&ee, CMSG_DATA(c), sizeof ee);
            icmpOrigin = ee.ee_origin == SO_EE_ORIGIN_ICMP;
            r.errorType = ee.ee_type;
            r.errorCode = ee.ee_code;
            // The sender of the error follows the structure (SO_EE_OFFENDER).
            if (payload >= sizeof ee + sizeof(sockaddr_in)) {
                sockaddr_in offender;
                std::memcpy(&offender, CMSG_DATA(c) + sizeof ee, sizeof offender);
                if (offender.sin_family == AF_INET)
                    r.offender = ntohl(offender.sin_addr.s_addr);
            }
        }
    }
    r.queuedError = errorQueue && icmpOrigin;
    return r;
}
