#pragma once
// Hand-built IPv4/ICMP and ICMPv6 packets for the decoder and engine tests.
#include "icmp/IcmpPacket.h"

namespace packets {

constexpr quint32 addr(quint32 a, quint32 b, quint32 c, quint32 d) { return a << 24 | b << 16 | c << 8 | d; }

// Our host's address, and a router's.
constexpr quint32 kHost = addr(198, 18, 1, 2);
constexpr quint32 kRouter = addr(198, 18, 3, 1);

// `bytes` with the big-endian `value` of `width` bytes written at `at`.
inline QByteArray patched(QByteArray bytes, int at, quint32 value, int width = 1)
{
    for (int i = width - 1; i >= 0; --i, value >>= 8)
        bytes[at + i] = char(value);
    return bytes;
}

inline QByteArray withIcmpChecksum(const QByteArray& m)
{
    const QByteArray zeroed = patched(m, 2, 0, 2);
    return patched(zeroed, 2, icmp::internetChecksum(icmp::bytesOf(zeroed)), 2);
}

// An IPv4 header with `optionBytes` of NOP options, protocol ICMP, in front of `payload`.
inline QByteArray ipPacket(quint32 source, quint32 destination, int ttl, const QByteArray& payload, int optionBytes = 0)
{
    const int length = 20 + optionBytes;
    QByteArray p = patched(QByteArray(20, '\0') + QByteArray(optionBytes, '\1'), 0, quint32(0x40 | length / 4));
    p = patched(patched(p, 2, quint32(length + payload.size()), 2), 8, quint32(ttl << 8 | 1), 2);   // TTL, ICMP
    return patched(patched(p, 12, source, 4), 16, destination, 4) + payload;
}

// The answer to an echo request: the same identifier, sequence and data.
inline QByteArray echoReplyTo(const QByteArray& request)
{
    return request[0] == char(icmp::kV6EchoRequest) ? patched(request, 0, icmp::kV6EchoReply)
                                                     : withIcmpChecksum(patched(request, 0, icmp::kEchoReply));
}

// The first 8 bytes of an ICMP error: type, code, no checksum yet, `word` (an MTU) last.
inline QByteArray errorHeader(quint8 type, quint8 code, quint32 word)
{
    return patched(QByteArray(1, char(type)) + char(code) + QByteArray(6, '\0'), 4, word, 4);
}

// An ICMP error quoting the header of our probe to `probeDestination` (with `quotedOptionBytes`
// of options) and its first 8 bytes, as routers do.
inline QByteArray icmpError(quint8 type, const QByteArray& probe, quint32 probeDestination, int quotedOptionBytes = 0,
                            quint8 code = 0, quint32 word = 0)
{
    const QByteArray quote = ipPacket(kHost, probeDestination, 1, probe, quotedOptionBytes);
    return withIcmpChecksum(errorHeader(type, code, word) + quote.left(28 + quotedOptionBytes));
}

// An ICMPv6 error quoting the IPv6 header of a probe to `probeDestination` and its first 8 bytes.
inline QByteArray icmpv6Error(quint8 type, const QByteArray& probe, const QHostAddress& probeDestination,
                              quint8 code = 0, quint32 word = 0)
{
    QByteArray header = patched(patched(QByteArray(40, '\0'), 0, 0x60), 4, quint32(probe.size() << 16 | 58 << 8 | 1), 4);
    const Q_IPV6ADDR to = probeDestination.toIPv6Address();
    header.replace(24, 16, QByteArray(reinterpret_cast<const char*>(to.c), 16));
    return errorHeader(type, code, word) + header + probe.left(8);
}

} // namespace packets
