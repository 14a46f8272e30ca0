// Whatever reaches an ICMP or ICMPv6 socket: the decoders must never read outside the bytes, and
// whatever they call an answer must be consistent with those bytes.
#include "icmp/IcmpPacket.h"

#include <cstdint>
#include <cstdlib>

namespace {

void require(bool ok)
{
    if (!ok)
        std::abort();
}

void checkAnswer(const icmp::Decoded& d, size_t size)
{
    if (d.verdict != icmp::Verdict::Answer)
        return;
    const icmp::Answer& a = d.answer;
    require(a.dataSize >= 0 && size_t(a.dataSize) + icmp::kHeaderSize <= size);
    require((a.kind == icmp::Kind::EchoReply) == (a.type == icmp::kEchoReply || a.type == icmp::kV6EchoReply));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::span<const std::uint8_t> bytes(data, size);
    // A raw socket's IP packet, and the same bytes as a datagram socket's ICMP message.
    const icmp::Decoded fromIp = icmp::decodeIpPacket(bytes);
    checkAnswer(fromIp, size);
    if (fromIp.verdict == icmp::Verdict::Answer)
        require(fromIp.answer.ttl >= 0 && fromIp.answer.ttl <= 255 && size >= 28);
    const icmp::Decoded message = icmp::decodeIcmpMessage(bytes);
    checkAnswer(message, size);
    checkAnswer(icmp::decodeIcmpv6Message(bytes), size);
    // An error-queue entry: type and code from the first two bytes, the probe after them.
    if (size >= 2) {
        for (const icmp::Family family : {icmp::Family::V4, icmp::Family::V6}) {
            const icmp::Decoded queued = icmp::decodeQueuedError(family, bytes.subspan(2), data[0], data[1]);
            if (queued.verdict == icmp::Verdict::Answer)
                require(queued.answer.kind != icmp::Kind::EchoReply && size >= 2 + icmp::kHeaderSize);
        }
    }
    // A message whose checksum the decoder accepted still sums to zero.
    if (message.verdict == icmp::Verdict::Answer)
        require(icmp::internetChecksum(bytes) == 0);
    return 0;
}
