#include "IcmpPacket.h"

namespace icmp {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr int kIpProtocolIcmp = 1;
constexpr int kIpProtocolIcmpv6 = 58;
constexpr size_t kMinIpHeader = kIpv4HeaderSize;
constexpr size_t kIpv6Header = kIpv6HeaderSize;

quint16 read16(Bytes b, size_t at)
{
    return quint16((b[at] << 8) | b[at + 1]);
}

quint32 read32(Bytes b, size_t at)
{
    return (quint32(b[at]) << 24) | (quint32(b[at + 1]) << 16) | (quint32(b[at + 2]) << 8) | b[at + 3];
}

QHostAddress ipv6At(Bytes b, size_t at)
{
    return QHostAddress(b.subspan(at, 16).data());
}

struct IpHeader {
    size_t headerLength = 0;
    size_t totalLength = 0;
    int protocol = 0;
    int ttl = 0;
    quint32 source = 0;
    quint32 destination = 0;
};

// A quoted header may be cut short after its own header (RFC 792 quotes 8 bytes beyond
// it), so the total length is checked only for the outer packet.
Verdict readIpHeader(Bytes b, IpHeader& ip)
{
    if (b.size() < kMinIpHeader)
        return Verdict::Truncated;
    if ((b[0] >> 4) != 4)
        return Verdict::BadIpHeader;
    ip.headerLength = size_t(b[0] & 0x0f) * 4;   // options included
    if (ip.headerLength < kMinIpHeader)
        return Verdict::BadIpHeader;
    if (b.size() < ip.headerLength)
        return Verdict::Truncated;
    ip.totalLength = read16(b, 2);
    ip.ttl = b[8];
    ip.protocol = b[9];
    ip.source = read32(b, 12);
    ip.destination = read32(b, 16);
    return Verdict::Answer;
}

// The ICMP header of a probe as an error quotes it: 8 bytes are all RFC 792 promises.
Verdict readQuotedProbe(Bytes quoted, quint8 echoRequest, Answer& a)
{
    if (quoted.size() < size_t(kHeaderSize))
        return Verdict::Truncated;
    if (quoted[0] != echoRequest)
        return Verdict::NotOurProbe;
    a.identifier = read16(quoted, 4);
    a.sequence = read16(quoted, 6);
    return Verdict::Answer;
}

// The kind of an error type, or false when the type is no error about a probe.
bool errorKind(Family family, quint8 type, quint8 code, AnswerKind& kind)
{
    if (family == Family::V4) {
        switch (type) {
        case kDestinationUnreachable:
            kind = code == kFragmentationNeeded ? AnswerKind::TooBig : AnswerKind::Unreachable;
            return true;
        case kTimeExceeded: kind = code == 0 ? AnswerKind::TimeExceeded : AnswerKind::OtherError; return true;
        case kParameterProblem: kind = AnswerKind::ParameterProblem; return true;
        case kSourceQuench: kind = AnswerKind::OtherError; return true;
        default: return false;
        }
    }
    switch (type) {
    case kV6DestinationUnreachable: kind = AnswerKind::Unreachable; return true;
    case kV6TimeExceeded: kind = code == 0 ? AnswerKind::TimeExceeded : AnswerKind::OtherError; return true;
    case kV6PacketTooBig: kind = AnswerKind::TooBig; return true;
    case kV6ParameterProblem: kind = AnswerKind::ParameterProblem; return true;
    default: return false;
    }
}

// An ICMP or ICMPv6 message: an echo reply, or an error quoting the IP header of the probe
// and the start of its echo request.
Decoded decodeMessage(Family family, Bytes m)
{
    Decoded d;
    if (m.size() < size_t(kHeaderSize))
        return d;
    if (family == Family::V4 && internetChecksum(m) != 0) {
        d.verdict = Verdict::BadChecksum;
        return d;
    }
    Answer& a = d.answer;
    a.type = m[0];
    a.code = m[1];
    if (a.type == (family == Family::V4 ? kEchoReply : kV6EchoReply)) {
        a.kind = AnswerKind::EchoReply;
        a.identifier = read16(m, 4);
        a.sequence = read16(m, 6);
        a.dataSize = int(m.size()) - kHeaderSize;
        d.verdict = Verdict::Answer;
        return d;
    }
    if (!errorKind(family, a.type, a.code, a.kind)) {
        d.verdict = Verdict::NotAnAnswer;
        return d;
    }
    // RFC 1191 puts the MTU in the low 16 bits of the second word, RFC 4443 the whole word.
    if (a.kind == AnswerKind::TooBig)
        a.mtu = family == Family::V4 ? read16(m, 6) : read32(m, 4);
    const Bytes quoted = m.subspan(kHeaderSize);
    if (family == Family::V6) {
        if (quoted.size() < kIpv6Header)
            return d;
        // Extension headers are never put on our probes, so anything else is not ours.
        if ((quoted[0] >> 4) != 6) {
            d.verdict = Verdict::BadIpHeader;
            return d;
        }
        if (quoted[6] != kIpProtocolIcmpv6) {
            d.verdict = Verdict::NotOurProbe;
            return d;
        }
        a.probeDestination = ipv6At(quoted, 24);
        d.verdict = readQuotedProbe(quoted.subspan(kIpv6Header), kV6EchoRequest, a);
        return d;
    }
    IpHeader inner;
    d.verdict = readIpHeader(quoted, inner);
    if (d.verdict != Verdict::Answer)
        return d;
    if (inner.protocol != kIpProtocolIcmp) {
        d.verdict = Verdict::NotOurProbe;
        return d;
    }
    a.probeDestination = QHostAddress(inner.destination);
    d.verdict = readQuotedProbe(quoted.subspan(inner.headerLength), kEchoRequest, a);
    return d;
}

} // namespace

quint16 internetChecksum(Bytes bytes)
{
    // RFC 1071: one's complement sum of 16-bit words, an odd last byte padded with zero.
    quint32 sum = 0;
    size_t i = 0;
    for (; i + 1 < bytes.size(); i += 2)
        sum += read16(bytes, i);
    if (i < bytes.size())
        sum += quint32(bytes[i]) << 8;
    while (sum >> 16)
        sum = (sum & 0xffff) + (sum >> 16);
    return quint16(~sum);
}

QByteArray encodeEchoRequest(Family family, quint16 identifier, quint16 sequence, int dataSize)
{
    QByteArray m(kHeaderSize + std::max(0, dataSize), '\0');
    auto* p = reinterpret_cast<std::uint8_t*>(m.data());
    p[0] = family == Family::V4 ? kEchoRequest : kV6EchoRequest;
    p[4] = std::uint8_t(identifier >> 8);
    p[5] = std::uint8_t(identifier);
    p[6] = std::uint8_t(sequence >> 8);
    p[7] = std::uint8_t(sequence);
    for (int i = kHeaderSize; i < m.size(); ++i)
        p[i] = std::uint8_t(0x40 + (i - kHeaderSize) % 0x3f);
    if (family == Family::V4) {
        const quint16 sum = internetChecksum(bytesOf(m));
        p[2] = std::uint8_t(sum >> 8);
        p[3] = std::uint8_t(sum);
    }
    return m;
}

Decoded decodeIpPacket(Bytes packet)
{
    Decoded d;
    IpHeader ip;
    d.verdict = readIpHeader(packet, ip);
    if (d.verdict != Verdict::Answer)
        return d;
    if (ip.totalLength < ip.headerLength) {
        d.verdict = Verdict::BadIpHeader;
        return d;
    }
    if (ip.totalLength > packet.size()) {
        d.verdict = Verdict::Truncated;
        return d;
    }
    const quint16 fragment = read16(packet, 6);
    if ((fragment & 0x3fff) != 0) {   // more-fragments flag or an offset: not a whole message
        d.verdict = Verdict::BadIpHeader;
        return d;
    }
    if (ip.protocol != kIpProtocolIcmp) {
        d.verdict = Verdict::NotIcmp;
        return d;
    }
    // Bytes past the total length are link padding, not part of the message.
    d = decodeMessage(Family::V4, packet.subspan(ip.headerLength, ip.totalLength - ip.headerLength));
    d.answer.source = QHostAddress(ip.source);
    d.answer.ttl = ip.ttl;
    return d;
}

Decoded decodeIcmpMessage(Bytes message)
{
    return decodeMessage(Family::V4, message);
}

Decoded decodeIcmpv6Message(Bytes message)
{
    return decodeMessage(Family::V6, message);
}

Decoded decodeQueuedError(Family family, Bytes probe, quint8 type, quint8 code, quint32 info)
{
    Decoded d;
    d.answer.type = type;
    d.answer.code = code;
    if (!errorKind(family, type, code, d.answer.kind)) {
        d.verdict = Verdict::NotAnAnswer;
        return d;
    }
    if (d.answer.kind == AnswerKind::TooBig)
        d.answer.mtu = info;
    d.verdict = readQuotedProbe(probe, family == Family::V4 ? kEchoRequest : kV6EchoRequest, d.answer);
    return d;
}

} // namespace icmp
