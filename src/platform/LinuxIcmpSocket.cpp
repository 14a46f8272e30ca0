#include "IcmpSocket.h"
#include "SocketsLayer.h"

#include <QSocketNotifier>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/capability.h>
#include <linux/errqueue.h>
#include <linux/icmp.h>
#include <netinet/icmp6.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Answers carry at most a quoted IP header and 8 bytes beyond our own small probe;
// 4 KiB leaves room for routers that quote more (RFC 4884).
constexpr int kReadBuffer = 4096;
// A pending error fails one send or one read; more in a row than this are the call's own.
constexpr int kAttempts = 8;
// Before the first send every socket gets its TTL set, even back to the system's (-1).
constexpr int kTtlNotSet = -2;

// Raw sockets opened at start, while the process still had CAP_NET_RAW: [0] IPv4, [1] IPv6.
// Every raw socket gets its own copy of each ICMP packet, but runs that shared one socket (or
// duplicates of it) would take each other's answers off its one queue: a monitor beside a trace
// would show loss that is not there. So each run at a time has a socket of its own from this pool;
// an idle one blocks every ICMP type, so nothing queues up in it meanwhile.
constexpr int kRawPool = 8;
struct RawPool {
    int fd[kRawPool] = {-1, -1, -1, -1, -1, -1, -1, -1};
    bool busy[kRawPool] = {};
};
RawPool g_startupRaw[2];

int slotOf(int family)
{
    return family == AF_INET6 ? 1 : 0;
}

int openSocket(int family, int type)
{
    const int protocol = family == AF_INET6 ? int(IPPROTO_ICMPV6) : int(IPPROTO_ICMP);
    const int fd = ::socket(family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, protocol);
    return fd >= 0 ? fd : -errno;
}

// The errors that mean the system does not let us have that socket here, so another kind
// may be tried; anything else (no memory, no descriptors left) is reported as it is.
bool notAllowedHere(int error)
{
    switch (error) {
    case EACCES:            // our group is outside net.ipv4.ping_group_range, or raw needs CAP_NET_RAW
    case EPERM:             // the same, said by a security module
    case EPROTONOSUPPORT:   // a kernel built without ping sockets
    case ESOCKTNOSUPPORT:
    case EAFNOSUPPORT:      // a kernel without IPv6
        return true;
    default:
        return false;
    }
}

struct Option {
    int level;
    int name;
    const char* text;
};

// Sets each option on; the first one refused fails the open, as the socket cannot do its job without it.
bool enableAll(int fd, std::initializer_list<Option> options, IcmpSocketOpen& result)
{
    const int on = 1;
    for (const Option& o : options) {
        if (::setsockopt(fd, o.level, o.name, &on, sizeof on) != 0) {
            result.failedOption = o.text;
            result.optionErrno = errno;
            ::close(fd);
            return false;
        }
    }
    return true;
}

// What an idle pooled socket lets through: nothing.
void blockEverything(int fd, int family)
{
    if (family == AF_INET6) {
        icmp6_filter filter;
        ICMP6_FILTER_SETBLOCKALL(&filter);
        ::setsockopt(fd, IPPROTO_ICMPV6, ICMP6_FILTER, &filter, sizeof filter);
    } else {
        icmp_filter filter{~0U};
        ::setsockopt(fd, SOL_RAW, ICMP_FILTER, &filter, sizeof filter);
    }
}

// A raw socket that was idle may still hold what arrived before its filter closed: old news.
void drain(int fd)
{
    char scratch[kReadBuffer];
    for (int i = 0; i < 10000 && ::recv(fd, scratch, sizeof scratch, MSG_DONTWAIT) >= 0; ++i) {
    }
}

// A raw socket for one run: a free one of the pool (`pooled` set), or, without the privilege, a
// new one, which fails with EPERM. With every pooled socket busy: EMFILE.
int rawSocket(int family, bool& pooled)
{
    RawPool& pool = g_startupRaw[slotOf(family)];
    pooled = false;
    bool any = false;
    for (int i = 0; i < kRawPool; ++i) {
        any |= pool.fd[i] >= 0;
        if (pool.fd[i] >= 0 && !pool.busy[i]) {
            pool.busy[i] = pooled = true;
            drain(pool.fd[i]);
            return pool.fd[i];
        }
    }
    return any ? -EMFILE : openSocket(family, SOCK_RAW);
}

// The pool's slot of a socket in use; -1 when `fd` is none of the pool's.
int poolSlotOf(int fd, int family)
{
    const RawPool& pool = g_startupRaw[slotOf(family)];
    for (int i = 0; i < kRawPool; ++i) {
        if (pool.fd[i] == fd && pool.busy[i])
            return i;
    }
    return -1;
}

// Gives a pooled socket back; false when `fd` is none of the pool's.
bool returnToPool(int fd, int family)
{
    const int i = poolSlotOf(fd, family);
    if (i < 0)
        return false;
    blockEverything(fd, family);
    g_startupRaw[slotOf(family)].busy[i] = false;
    return true;
}

// A pooled socket that was closed: its slot stays empty.
void leavePool(int fd, int family)
{
    if (const int i = poolSlotOf(fd, family); i >= 0)
        g_startupRaw[slotOf(family)].fd[i] = -1;
}

bool dropAllCapabilities()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2]{};
    if (::syscall(SYS_capget, &header, data) != 0)
        return false;
    ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);   // EINVAL on kernels without ambient sets
    const bool any = data[0].effective | data[0].permitted | data[0].inheritable | data[1].effective
        | data[1].permitted | data[1].inheritable;
    if (!any)
        return true;
    __user_cap_data_struct none[2]{};
    return ::syscall(SYS_capset, &header, none) == 0;
}

} // namespace

bool openRawSocketsAndDropCapabilities()
{
    for (const int family : {AF_INET, AF_INET6}) {
        const int datagram = openSocket(family, SOCK_DGRAM);
        if (datagram >= 0) {
            ::close(datagram);   // allowed: every run opens its own
            continue;
        }
        if (!notAllowedHere(-datagram))
            continue;
        for (int i = 0; i < kRawPool; ++i) {
            const int raw = openSocket(family, SOCK_RAW);
            if (raw < 0)
                break;
            blockEverything(raw, family);
            g_startupRaw[slotOf(family)].fd[i] = raw;
        }
    }
    return dropAllCapabilities();
}

IcmpSocketOpen LinuxIcmpSocketFactory::open(QAbstractSocket::NetworkLayerProtocol protocol)
{
    const int family = protocol == QAbstractSocket::IPv6Protocol ? AF_INET6 : AF_INET;
    const bool v6 = family == AF_INET6;
    const int ipLevel = v6 ? SOL_IPV6 : SOL_IP;
    IcmpSocketOpen result;
    // Datagram first: it needs no privilege where net.ipv4.ping_group_range holds the user's
    // group (it covers ICMPv6 too), and the kernel hands it only the answers to its own echoes.
    int fd = m_rawOnly ? -EACCES : openSocket(family, SOCK_DGRAM);
    if (fd >= 0) {
        // Errors about our probes come only through the error queue: without it every
        // router would read as silent.
        if (!enableAll(fd,
                       {{ipLevel, v6 ? IPV6_RECVERR : IP_RECVERR, v6 ? "IPV6_RECVERR" : "IP_RECVERR"},
                        {ipLevel, v6 ? IPV6_RECVHOPLIMIT : IP_RECVTTL, v6 ? "IPV6_RECVHOPLIMIT" : "IP_RECVTTL"},
                        {SOL_SOCKET, SO_TIMESTAMPNS, "SO_TIMESTAMPNS"}},
                       result))
            return result;
        result.socket = std::make_unique<LinuxIcmpSocket>(fd, IcmpSocket::SocketType::Datagram, family);
        return result;
    }
    result.datagramErrno = -fd;
    if (!notAllowedHere(result.datagramErrno))
        return result;
    // Raw needs CAP_NET_RAW, which only the sockets opened at start still have.
    bool pooled = false;
    fd = rawSocket(family, pooled);
    if (fd < 0) {
        result.rawErrno = -fd;
        return result;
    }
    // Only the answers a probe can get; a filter that does not take costs reading more
    // packets, which are sorted out anyway.
    if (v6) {
        icmp6_filter filter;
        ICMP6_FILTER_SETBLOCKALL(&filter);
        for (const int type : {ICMP6_ECHO_REPLY, ICMP6_DST_UNREACH, ICMP6_PACKET_TOO_BIG, ICMP6_TIME_EXCEEDED,
                               ICMP6_PARAM_PROB})
            ICMP6_FILTER_SETPASS(type, &filter);
        ::setsockopt(fd, IPPROTO_ICMPV6, ICMP6_FILTER, &filter, sizeof filter);
    } else {
        icmp_filter filter{};
        filter.data = ~((1U << ICMP_ECHOREPLY) | (1U << ICMP_DEST_UNREACH) | (1U << ICMP_SOURCE_QUENCH)
                        | (1U << ICMP_TIME_EXCEEDED) | (1U << ICMP_PARAMETERPROB));
        ::setsockopt(fd, SOL_RAW, ICMP_FILTER, &filter, sizeof filter);
    }
    // An IPv4 raw socket reads the TTL from the IP header; ICMPv6 gets no header.
    const bool options = v6 ? enableAll(fd, {{SOL_SOCKET, SO_TIMESTAMPNS, "SO_TIMESTAMPNS"},
                                             {SOL_IPV6, IPV6_RECVHOPLIMIT, "IPV6_RECVHOPLIMIT"}}, result)
                            : enableAll(fd, {{SOL_SOCKET, SO_TIMESTAMPNS, "SO_TIMESTAMPNS"}}, result);
    if (options)
        result.socket = std::make_unique<LinuxIcmpSocket>(fd, IcmpSocket::SocketType::Raw, family);
    else if (pooled)   // enableAll closed it
        leavePool(fd, family);
    return result;
}

LinuxIcmpSocket::LinuxIcmpSocket(int fd, SocketType type, int addressFamily)
    : m_fd(fd)
    , m_type(type)
    , m_family(addressFamily)
    , m_ttl(kTtlNotSet)
    , m_notifier(new QSocketNotifier(fd, QSocketNotifier::Read, this))
{
    connect(m_notifier, &QSocketNotifier::activated, this, &IcmpSocket::readyRead);
}

LinuxIcmpSocket::~LinuxIcmpSocket()
{
    m_notifier->setEnabled(false);
    if (m_type != SocketType::Raw || !returnToPool(m_fd, m_family))
        ::close(m_fd);
}

int LinuxIcmpSocket::send(const QHostAddress& destination, int ttl, const QByteArray& icmpMessage)
{
    if (ttl != m_ttl) {
        const bool v6 = m_family == AF_INET6;
        if (::setsockopt(m_fd, v6 ? SOL_IPV6 : SOL_IP, v6 ? IPV6_UNICAST_HOPS : IP_TTL, &ttl, sizeof ttl) != 0)
            return errno;
        m_ttl = ttl;
    }
    socklen_t length = 0;
    const sockaddr_storage to = sockets_layer::socketAddress(destination, length);
    // An ICMP error that reached a datagram socket is also kept as the socket's pending
    // error, which fails the next send once (the error itself waits in the error queue).
    // A failure that comes back every time is the send's own.
    for (int attempt = 0;; ++attempt) {
        const ssize_t sent = ::sendto(m_fd, icmpMessage.constData(), size_t(icmpMessage.size()), 0,
                                      reinterpret_cast<const sockaddr*>(&to), length);
        if (sent >= 0)
            return sent == icmpMessage.size() ? 0 : EMSGSIZE;
        if (m_type == SocketType::Raw || errno == EAGAIN || errno == EINTR || attempt == kAttempts - 1)
            return errno;
    }
}

std::optional<IcmpReceived> LinuxIcmpSocket::receive()
{
    // The error queue first: a pending error also fails the next plain read once.
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (m_type == SocketType::Datagram) {
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
    sockaddr_storage from{};
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
    if (msg.msg_namelen > 0 && from.ss_family == m_family)
        r.source = sockets_layer::hostAddress(reinterpret_cast<const sockaddr*>(&from), msg.msg_namelen);
    bool icmpOrigin = false;
    for (cmsghdr* c = CMSG_FIRSTHDR(&msg); c; c = CMSG_NXTHDR(&msg, c)) {
        const size_t payload = c->cmsg_len - CMSG_LEN(0);
        const bool errorEntry = (c->cmsg_level == SOL_IP && c->cmsg_type == IP_RECVERR)
            || (c->cmsg_level == SOL_IPV6 && c->cmsg_type == IPV6_RECVERR);
        if (c->cmsg_level == SOL_SOCKET && c->cmsg_type == SCM_TIMESTAMPNS && payload >= sizeof(timespec)) {
            timespec ts;
            std::memcpy(&ts, CMSG_DATA(c), sizeof ts);
            r.kernelTimeNs = qint64(ts.tv_sec) * 1000000000 + ts.tv_nsec;
        } else if (((c->cmsg_level == SOL_IP && c->cmsg_type == IP_TTL)
                    || (c->cmsg_level == SOL_IPV6 && c->cmsg_type == IPV6_HOPLIMIT))
                   && payload >= sizeof(int)) {
            int ttl;
            std::memcpy(&ttl, CMSG_DATA(c), sizeof ttl);
            r.ttl = ttl;
        } else if (errorEntry && payload >= sizeof(sock_extended_err)) {
            sock_extended_err ee;
            std::memcpy(&ee, CMSG_DATA(c), sizeof ee);
            icmpOrigin = ee.ee_origin == SO_EE_ORIGIN_ICMP || ee.ee_origin == SO_EE_ORIGIN_ICMP6;
            r.errorType = ee.ee_type;
            r.errorCode = ee.ee_code;
            r.errorInfo = ee.ee_info;
            // The sender of the error follows the structure (SO_EE_OFFENDER).
            const size_t room = payload - sizeof ee;
            sockaddr_storage offender{};
            std::memcpy(&offender, CMSG_DATA(c) + sizeof ee, std::min(room, sizeof offender));
            if (offender.ss_family == m_family)
                r.offender = sockets_layer::hostAddress(reinterpret_cast<const sockaddr*>(&offender),
                                                        socklen_t(std::min(room, sizeof offender)));
        }
    }
    r.queuedError = errorQueue && icmpOrigin;
    return r;
}
