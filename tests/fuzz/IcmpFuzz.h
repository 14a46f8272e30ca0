#pragma once
// What the ICMP fuzz targets share: big-endian reads, checksums made good, and the decoders'
// result types, named through the decoders so a renamed type does not matter here.
#include "FuzzChecks.h"
#include "icmp/IcmpPacket.h"

#include <cstdint>
#include <span>

namespace fuzz {

using Bytes = std::span<const std::uint8_t>;
inline quint16 be16(Bytes b, size_t at) { return quint16(b[at] << 8 | b[at + 1]); }
inline quint32 be32(Bytes b, size_t at) { return quint32(be16(b, at)) << 16 | be16(b, at + 2); }

using Decoded = decltype(icmp::decodeIcmpMessage({}));
using Verdict = decltype(Decoded::verdict);
using Kind = decltype(Decoded::answer.kind);

inline bool isAnswer(const Decoded& d) { return d.verdict == Verdict::Answer; }

// `bytes` with a valid internet checksum in the 16 bits at `at`, over bytes [from, to).
inline QByteArray withChecksum(Bytes bytes, size_t from, size_t to, size_t at)
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

// The fields an answer takes from the ICMP message itself.
inline bool sameMessageFields(const Decoded& a, const Decoded& b)
{
    const auto &x = a.answer, &y = b.answer;
    return a.verdict == b.verdict && x.kind == y.kind && x.type == y.type && x.code == y.code
        && x.identifier == y.identifier && x.sequence == y.sequence && x.dataSize == y.dataSize
        && x.probeDestination == y.probeDestination;
}

// An error-queue entry of `b` (type, code, then the probe we sent): a time exceeded about an echo
// request is an answer, and an answer's fields are its type, code and probe.
inline void checkQueuedError(icmp::Family family, Bytes b, quint8 timeExceeded, quint8 echoRequest)
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

} // namespace fuzz
