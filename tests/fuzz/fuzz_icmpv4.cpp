// What reaches an ICMPv4 socket, raw (a whole IP packet) or datagram (the ICMP message, or an
// error-queue entry): whatever the decoders call an answer must say what the bytes say.
#include "IcmpFuzz.h"

using namespace fuzz;

namespace {

// An answer decoded from an ICMP message `m`.
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
    require(sameMessageFields(d, icmp::decodeIcmpMessage(m)), "packet and message decoders agree");
    checkMessage(m, d);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const Bytes bytes(data, size);
    // Each as it came and with its ICMP checksum made good, so decoding goes past the checksum.
    checkPacket(bytes);
    const size_t ihl = size > 0 ? size_t(data[0] & 0x0f) * 4 : 0;
    const size_t total = size >= 4 ? std::min<size_t>(be16(bytes, 2), size) : 0;
    checkPacket(icmp::bytesOf(withChecksum(bytes, ihl, total, ihl + 2)));
    checkMessage(bytes, icmp::decodeIcmpMessage(bytes));
    const QByteArray fixed = withChecksum(bytes, 0, size, 2);
    checkMessage(icmp::bytesOf(fixed), icmp::decodeIcmpMessage(icmp::bytesOf(fixed)));

    checkQueuedError(icmp::Family::V4, bytes, icmp::kTimeExceeded, icmp::kEchoRequest);
    return 0;
}
