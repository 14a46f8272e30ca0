#include "IcmpPacket.h"

namespace icmp {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr int kIpProtocolIcmp = 1;
constexpr size_t kMinIpHeader = 20;

quint16 read16(Bytes b, size_t at)
{
    return quint16((b[at] << 8) | b[at + 1]);
}

quint32 read32(Bytes b, size_t at)
{
    return (quint32(b[at]) << 24) | (quint32(b[at + 1]) << 16) | (quint32(b[at + 2]) << 8) | b[at + 3];
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

bool isError(quint8 type)
{
    return type == kDestinationUnreachable || type == kSourceQuench || type == kTimeExceeded
        || type == kParameterProblem;
}

// The ICMP header of a probe as an error quotes it: 8 bytes are all RFC 792 promises.
Verdict readQuotedProbe(Bytes quoted, Answer& a)
{
    if (quoted.size() < size_t(kHeaderSize))
        return Verdict::Truncated;
    if (quoted[0] != kEchoRequest)
        return Verdict::NotOurProbe;
    a.identifier = read16(quoted, 4);
    a.sequence = read16(quoted, 6);
    return Verdict::Answer;
}

Decoded decodeIcmp(Bytes m)
{
    Decoded d;
    if (m.size() < size_t(kHeaderSize))
        return d;
    if (internetChecksum(m) != 0) {
        d.verdict = Verdict::BadChecksum;
        return d;
    }
    Answer& a = d.answer;
    a.type = m[0];
    a.code = m[1];
    if (a.type == kEchoReply) {
        a.identifier = read16(m, 4);
        a.sequence = read16(m, 6);
        a.dataSize = int(m.size()) - kHeaderSize;
        d.verdict = Verdict::Answer;
        return d;
    }
    if (!isError(a.type)) {
        d.verdict = Verdict::NotAnAnswer;
        return d;
    }
    a.isError = true;
    // The error quotes the probe's IP header and the start of its ICMP message.
    const Bytes quoted = m.subspan(kHeaderSize);
    IpHeader inner;
    d.verdict = readIpHeader(quoted, inner);
    if (d.verdict != Verdict::Answer)
        return d;
    if (inner.protocol != kIpProtocolIcmp) {
        d.verdict = Verdict::NotOurProbe;
        return d;
    }
    a.probeDestination = inner.destination;
    d.verdict = readQuotedProbe(quoted.subspan(inner.headerLength), a);
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

QByteArray encodeEchoRequest(quint16 identifier, quint16 sequence, int dataSize)
{
    QByteArray m(kHeaderSize + std::max(0, dataSize), '\0');
    auto* p = reinterpret_cast<std::uint8_t*>(m.data());
    p[0] = kEchoRequest;
    p[4] = std::uint8_t(identifier >> 8);
    p[5] = std::uint8_t(identifier);
    p[6] = std::uint8_t(sequence >> 8);
    p[7] = std::uint8_t(sequence);
    for (int i = kHeaderSize; i < m.size(); ++i)
        p[i] = std::uint8_t(0x40 + (i - kHeaderSize) % 0x3f);
    const quint16 sum = internetChecksum(bytesOf(m));
    p[2] = std::uint8_t(sum >> 8);
    p[3] = std::uint8_t(sum);
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
    d = decodeIcmp(packet.subspan(ip.headerLength, ip.totalLength - ip.headerLength));
    d.answer.source = ip.source;
    d.answer.ttl = ip.ttl;
    return d;
}

Decoded decodeIcmpMessage(Bytes message)
{
    return decodeIcmp(message);
}

Decoded decodeQueuedError(Bytes probe, quint8 type, quint8 code)
{
    Decoded d;
    d.answer.isError = true;
    d.answer.type = type;
    d.answer.code = code;
    if (!isError(type)) {
        d.verdict = Verdict::NotAnAnswer;
        return d;
    }
    d.verdict = readQuotedProbe(probe, d.answer);
    return d;
}

} // namespace icmp
