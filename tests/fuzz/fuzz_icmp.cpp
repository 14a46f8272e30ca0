// What reaches an ICMP socket, as IPv4 and as IPv6: raw (a whole IPv4 packet), datagram (the
// ICMP message) or an error-queue entry. Whatever the decoders call an answer must say what the
// bytes say. The kernel checks ICMPv6 checksums, so none are made good for IPv6.
#include "FuzzChecks.h"
#include "icmp/IcmpPacket.h"

#include <cstdint>
#include <span>

using namespace fuzz;

namespace {

using Bytes = std::span<const std::uint8_t>;
quint16 be16(Bytes b, size_t at) { return quint16(b[at] << 8 | b[at + 1]); }
quint32 be32(Bytes b, size_t at) { return quint32(be16(b, at)) << 16 | be16(b, at + 2); }

// The decoders' result types, named through them so a renamed type does not matter here.
using Decoded = decltype(icmp::decodeIcmpMessage({}));
using Verdict = decltype(Decoded::verdict);
using Kind = decltype(Decoded::answer.kind);

bool isAnswer(const Decoded& d) { return d.verdict == Verdict::Answer; }

// `bytes` with a valid internet checksum in the 16 bits at `at`, over bytes [from, to).
QByteArray withChecksum(Bytes bytes, size_t from, size_t to, size_t at)
{
    QByteArray fixed(reinterpret_cast<const char*>(bytes.data()), qsizetype(bytes.size()));
    if (from + 4 > to || to > bytes.size())
        return fixed;
    fixed[qsizetype(at)] = fixed[qsizetype(at) + 1] = 0;
    const quint16 sum = icmp::internetChecksum(icmp::bytesOf(fixed).subspan(from, to - from));
    fixed[qsizetype(at)] = char(sum >> 8);
    fixed[qsizetype(at) + 1] = char(sum);
    return fixed;
}

// An answer decoded from an ICMPv4 message `m`.
void checkMessage(Bytes m, const Decoded& d)
{
    if (m.size() >= 8 && m[0] == icmp::kEchoReply && icmp::internetChecksum(m) == 0)
        require(isAnswer(d), "every echo reply with a good checksum is an answer");
    if (!isAnswer(d))
        return;
    const auto& a = d.answer;
    require(m.size() >= 8 && icmp::internetChecksum(m) == 0, "an answer is whole and sums to zero");
    require(a.type == m[0] && a.code == m[1], "type and code are the message's");
    if (a.kind == Kind::EchoReply) {
        require(m[0] == icmp::kEchoReply && a.identifier == be16(m, 4) && a.sequence == be16(m, 6)
                    && a.dataSize == int(m.size()) - 8, "an echo reply's fields are its bytes");
        return;
    }
    // An error quotes an IPv4 header (protocol ICMP) and then our echo request.
    require(m.size() >= 28 && m[8] >> 4 == 4 && m[17] == 1, "an error quotes an ICMP packet");
    const size_t ihl = size_t(m[8] & 0x0f) * 4;
    require(ihl >= 20 && m.size() >= 8 + ihl + 8 && m[8 + ihl] == icmp::kEchoRequest,
            "the quoted probe is an echo request inside the message");
    require(a.identifier == be16(m, 8 + ihl + 4) && a.sequence == be16(m, 8 + ihl + 6)
                && a.probeDestination == QHostAddress(be32(m, 24)),
            "an error's fields are the quoted probe's");
}

// An answer decoded from an ICMPv6 message `m`.
void checkMessage6(Bytes m)
{
    const Decoded d = icmp::decodeIcmpv6Message(m);
    if (m.size() >= 8 && m[0] == icmp::kV6EchoReply)
        require(isAnswer(d), "every whole echo reply is an answer");
    if (!isAnswer(d))
        return;
    const auto& a = d.answer;
    require(m.size() >= 8 && a.type == m[0] && a.code == m[1], "type and code are the message's");
    if (a.kind == Kind::EchoReply) {
        require(m[0] == icmp::kV6EchoReply && a.identifier == be16(m, 4) && a.sequence == be16(m, 6)
                    && a.dataSize == int(m.size()) - 8, "an echo reply's fields are its bytes");
        return;
    }
    // An error quotes a 40-byte IPv6 header (next header ICMPv6), then our echo request.
    require(m.size() >= 8 + 40 + 8 && m[8] >> 4 == 6 && m[14] == 58 && m[48] == icmp::kV6EchoRequest,
            "an error quotes an IPv6 echo request inside the message");
    require(a.identifier == be16(m, 52) && a.sequence == be16(m, 54)
                && a.probeDestination == QHostAddress(m.subspan(32, 16).data()),
            "an error's fields are the quoted probe's");
}

// An answer decoded from a whole IPv4 packet `p`.
void checkPacket(Bytes p)
{
    const Decoded d = icmp::decodeIpPacket(p);
    if (!isAnswer(d))
        return;
    require(p.size() >= 20 && p[0] >> 4 == 4 && p[9] == 1 && (be16(p, 6) & 0x3fff) == 0,
            "an answer comes in a whole IPv4 packet of protocol ICMP");
    const size_t ihl = size_t(p[0] & 0x0f) * 4, total = be16(p, 2);
    require(ihl >= 20 && ihl <= total && total <= p.size(), "header and total length fit the packet");
    require(d.answer.ttl == p[8] && d.answer.source == QHostAddress(be32(p, 12)), "TTL and source");
    // The message inside, without the bytes past the total length, says the same.
    const Bytes m = p.subspan(ihl, total - ihl);
    const Decoded inside = icmp::decodeIcmpMessage(m);
    const auto &x = d.answer, &y = inside.answer;
    require(inside.verdict == d.verdict && x.kind == y.kind && x.type == y.type && x.code == y.code
                && x.identifier == y.identifier && x.sequence == y.sequence && x.dataSize == y.dataSize
                && x.probeDestination == y.probeDestination,
            "packet and message decoders agree");
    checkMessage(m, d);
}

// An error-queue entry of `b` (type, code, then the probe we sent): a time exceeded about an echo
// request is an answer, and an answer's fields are its type, code and probe.
void checkQueuedError(icmp::Family family, Bytes b, quint8 timeExceeded, quint8 echoRequest)
{
    if (b.size() < 2)
        return;
    const Decoded q = icmp::decodeQueuedError(family, b.subspan(2), b[0], b[1]);
    const bool quotesProbe = b.size() >= 10 && b[2] == echoRequest;
    if (b[0] == timeExceeded && quotesProbe)
        require(isAnswer(q), "a time exceeded about an echo request is an answer");
    if (isAnswer(q))
        require(q.answer.kind != Kind::EchoReply && q.answer.type == b[0] && q.answer.code == b[1] && quotesProbe
                    && q.answer.identifier == be16(b, 6) && q.answer.sequence == be16(b, 8),
                "a queued error's fields are its type, code and probe");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const Bytes bytes(data, size);
    // IPv4: each as it came and with its ICMP checksum made good, so decoding goes past the checksum.
    checkPacket(bytes);
    const size_t ihl = size > 0 ? size_t(data[0] & 0x0f) * 4 : 0;
    const size_t total = size >= 4 ? std::min<size_t>(be16(bytes, 2), size) : 0;
    checkPacket(icmp::bytesOf(withChecksum(bytes, ihl, total, ihl + 2)));
    checkMessage(bytes, icmp::decodeIcmpMessage(bytes));
    const QByteArray fixed = withChecksum(bytes, 0, size, 2);
    checkMessage(icmp::bytesOf(fixed), icmp::decodeIcmpMessage(icmp::bytesOf(fixed)));
    checkQueuedError(icmp::Family::V4, bytes, icmp::kTimeExceeded, icmp::kEchoRequest);

    checkMessage6(bytes);
    checkQueuedError(icmp::Family::V6, bytes, icmp::kV6TimeExceeded, icmp::kV6EchoRequest);
    return 0;
}
