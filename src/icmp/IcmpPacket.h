#pragma once
#include <QByteArray>
#include <QtGlobal>

#include <cstdint>
#include <span>

// ICMPv4 echo probes and the answers they get (RFC 792), as pure functions over bytes.
namespace icmp {

inline constexpr quint8 kEchoReply = 0;
inline constexpr quint8 kDestinationUnreachable = 3;
inline constexpr quint8 kSourceQuench = 4;
inline constexpr quint8 kEchoRequest = 8;
inline constexpr quint8 kTimeExceeded = 11;
inline constexpr quint8 kParameterProblem = 12;
inline constexpr int kHeaderSize = 8;

// Why a received packet is not an answer to one of our probes.
enum class Verdict {
    Answer,
    Truncated,          // shorter than its headers or its own length field say
    BadIpHeader,        // not IPv4, header length out of range, a fragment
    NotIcmp,
    BadChecksum,
    NotAnAnswer,        // an ICMP type a probe never gets back (echo request, redirect, ...)
    NotOurProbe,        // an error quoting something other than an echo request
};

struct Answer {
    bool isError = false;       // an ICMP error about a probe, else an echo reply
    quint8 type = 0;
    quint8 code = 0;
    quint16 identifier = 0;     // the reply's own, or that of the quoted probe
    quint16 sequence = 0;
    quint32 source = 0;         // sender from the IP header; 0 when the bytes carry none
    quint32 probeDestination = 0;   // errors with a quoted IP header: where the probe went
    int ttl = -1;               // from the IP header; -1 when the bytes carry none
    int dataSize = 0;           // echo reply: data bytes after the ICMP header
};

struct Decoded {
    Verdict verdict = Verdict::Truncated;
    Answer answer;
};

quint16 internetChecksum(std::span<const std::uint8_t> bytes);

// An echo request carrying `dataSize` bytes of a fixed pattern, checksum filled in.
QByteArray encodeEchoRequest(quint16 identifier, quint16 sequence, int dataSize);

// A whole IPv4 packet, as a raw socket reads it.
Decoded decodeIpPacket(std::span<const std::uint8_t> packet);
// An ICMP message without IP header, as a datagram socket reads it.
Decoded decodeIcmpMessage(std::span<const std::uint8_t> message);
// An entry of a datagram socket's error queue: the probe we sent and the error's type and code.
Decoded decodeQueuedError(std::span<const std::uint8_t> probe, quint8 type, quint8 code);

inline std::span<const std::uint8_t> bytesOf(const QByteArray& a)
{
    return {reinterpret_cast<const std::uint8_t*>(a.constData()), size_t(a.size())};
}

} // namespace icmp
