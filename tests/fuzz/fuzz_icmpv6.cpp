// What reaches an ICMPv6 socket (the message, or an error-queue entry): whatever the decoder
// calls an answer must say what the bytes say. The kernel checks ICMPv6 checksums, so none here.
#include "IcmpFuzz.h"

using namespace fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const Bytes m(data, size);
    const Decoded d = icmp::decodeIcmpv6Message(m);
    if (size >= 8 && m[0] == icmp::kV6EchoReply)
        require(isAnswer(d), "every whole echo reply is an answer");
    if (isAnswer(d)) {
        const auto& a = d.answer;
        require(size >= 8 && a.type == m[0] && a.code == m[1], "type and code are the message's");
        if (a.kind == Kind::EchoReply) {
            require(m[0] == icmp::kV6EchoReply && a.identifier == be16(m, 4) && a.sequence == be16(m, 6)
                        && a.dataSize == int(size) - 8,
                    "an echo reply's fields are its bytes");
        } else {
            // An error quotes a 40-byte IPv6 header (next header ICMPv6), then our echo request.
            require(size >= 8 + 40 + 8 && m[8] >> 4 == 6 && m[14] == 58 && m[48] == icmp::kV6EchoRequest,
                    "an error quotes an IPv6 echo request inside the message");
            require(a.identifier == be16(m, 52) && a.sequence == be16(m, 54)
                        && a.probeDestination == QHostAddress(m.subspan(32, 16).data()),
                    "an error's fields are the quoted probe's");
        }
    }

    checkQueuedError(icmp::Family::V6, m, icmp::kV6TimeExceeded, icmp::kV6EchoRequest);
    return 0;
}
