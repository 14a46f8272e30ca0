#pragma once
#include <QByteArray>
#include <QHostAddress>
#include <QtGlobal>

#include <cstdint>
#include <span>

// ICMP echo probes and the answers they get, for IPv4 (RFC 792) and IPv6 (RFC 4443), as
// pure functions over bytes.
namespace icmp {

enum class Family { V4, V6 };

// ICMPv4 types.
inline constexpr quint8 kEchoReply = 0;
inline constexpr quint8 kDestinationUnreachable = 3;
inline constexpr quint8 kFragmentationNeeded = 4;   // its code
inline constexpr quint8 kSourceQuench = 4;
inline constexpr quint8 kEchoRequest = 8;
inline constexpr quint8 kTimeExceeded = 11;
inline constexpr quint8 kParameterProblem = 12;
// ICMPv6 types.
inline constexpr quint8 kV6DestinationUnreachable = 1;
inline constexpr quint8 kV6PacketTooBig = 2;
inline constexpr quint8 kV6TimeExceeded = 3;
inline constexpr quint8 kV6ParameterProblem = 4;
inline constexpr quint8 kV6EchoRequest = 128;
inline constexpr quint8 kV6EchoReply = 129;

inline constexpr int kHeaderSize = 8;
// IP headers as our probes go out: IPv4 without options, IPv6 without extension headers.
inline constexpr int kIpv4HeaderSize = 20;
inline constexpr int kIpv6HeaderSize = 40;

// What an answer says about the probe it answers, whatever the IP version.
enum class AnswerKind {
    EchoReply,
    TimeExceeded,       // in transit: a router on the way
    Unreachable,        // the destination cannot be reached
    TooBig,             // IPv4 fragmentation needed, ICMPv6 packet too big; `mtu` says how big may pass
    ParameterProblem,   // a router or the target found fault with the probe's header
    OtherError,         // any other error about the probe (source quench, reassembly time exceeded)
};

// Why a received packet is not an answer to one of our probes.
enum class Verdict {
    Answer,
    Truncated,          // shorter than its headers or its own length field say
    BadIpHeader,        // not the expected IP version, header length out of range, a fragment
    NotIcmp,
    BadChecksum,
    NotAnAnswer,        // an ICMP type a probe never gets back (echo request, redirect, ...)
    NotOurProbe,        // an error quoting something other than an echo request
};

struct Answer {
    AnswerKind kind = AnswerKind::EchoReply;
    quint8 type = 0;            // as on the wire, in the numbering of its family
    quint8 code = 0;
    quint16 identifier = 0;     // the reply's own, or that of the quoted probe
    quint16 sequence = 0;
    QHostAddress source;        // sender from the IPv4 header; null when the bytes carry none
    QHostAddress probeDestination;  // errors with a quoted IP header: where the probe went
    int ttl = -1;               // from the IPv4 header; -1 when the bytes carry none
    int dataSize = 0;           // echo reply: data bytes after the ICMP header
    quint32 mtu = 0;            // TooBig: the next hop's MTU (0 from routers older than RFC 1191)
};

struct Decoded {
    Verdict verdict = Verdict::Truncated;
    Answer answer;
};

quint16 internetChecksum(std::span<const std::uint8_t> bytes);

// An echo request carrying `dataSize` bytes of a fixed pattern. IPv4 gets its checksum here;
// the kernel fills in the ICMPv6 one, which covers addresses only it knows for sure.
QByteArray encodeEchoRequest(Family family, quint16 identifier, quint16 sequence, int dataSize);

// A whole IPv4 packet, as a raw IPv4 socket reads it.
Decoded decodeIpPacket(std::span<const std::uint8_t> packet);
// An ICMPv4 message without IP header, as a datagram socket reads it.
Decoded decodeIcmpMessage(std::span<const std::uint8_t> message);
// An ICMPv6 message, as raw and datagram sockets read it (the kernel has checked its checksum).
Decoded decodeIcmpv6Message(std::span<const std::uint8_t> message);
// An entry of a datagram socket's error queue: the probe we sent, the error's type and code,
// and the kernel's information word (the MTU of a "too big" error).
Decoded decodeQueuedError(Family family, std::span<const std::uint8_t> probe, quint8 type, quint8 code,
                          quint32 info = 0);

inline std::span<const std::uint8_t> bytesOf(const QByteArray& a)
{
    return {reinterpret_cast<const std::uint8_t*>(a.constData()), size_t(a.size())};
}

} // namespace icmp
