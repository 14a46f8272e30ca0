// What a run takes from its socket: which packets answer which of its probes.
#include "ProbeRun.h"

#include "platform/EngineClock.h"

#include <cstring>

namespace {

using icmp::IgnoredReason;

// Replies read in one go; the socket stays readable for the rest.
constexpr int kReadBatch = 256;

// The same host, whatever scope a link-local address was written with.
bool sameAddress(const QHostAddress& a, const QHostAddress& b)
{
    if (a.protocol() != b.protocol())
        return false;
    if (a.protocol() == QAbstractSocket::IPv4Protocol)
        return a.toIPv4Address() == b.toIPv4Address();
    const Q_IPV6ADDR x = a.toIPv6Address(), y = b.toIPv6Address();
    return std::memcmp(x.c, y.c, sizeof x.c) == 0;
}

// Whether `address` may answer for `target`: the target itself; for an unspecified target
// (0.0.0.0, ::), which the kernel sends to this host, the loopback address; for a multicast
// group, any member.
bool answersFor(const QHostAddress& address, const QHostAddress& target)
{
    if (sameAddress(address, target))
        return true;
    const bool unspecified = target == QHostAddress::AnyIPv4 || target == QHostAddress::AnyIPv6;
    return target.protocol() == address.protocol() && (unspecified ? address.isLoopback() : target.isMulticast());
}

IgnoredReason reasonOf(icmp::Verdict verdict)
{
    switch (verdict) {
    case icmp::Verdict::Truncated: return IgnoredReason::Truncated;
    case icmp::Verdict::BadIpHeader: return IgnoredReason::BadIpHeader;
    case icmp::Verdict::NotIcmp: return IgnoredReason::NotIcmp;
    case icmp::Verdict::BadChecksum: return IgnoredReason::BadChecksum;
    case icmp::Verdict::NotOurProbe: return IgnoredReason::NotAnEchoQuote;
    case icmp::Verdict::Answer:
    case icmp::Verdict::NotAnAnswer: break;
    }
    return IgnoredReason::NotAnAnswer;
}

} // namespace

void ProbeRun::readReplies()
{
    for (int i = 0; i < kReadBatch && probing(); ++i) {
        const std::optional<IcmpReceived> received = m_socket->receive();
        if (!received)
            return;
        Reply reply;
        if (interpret(*received, reply))
            onReply(reply);
    }
}

icmp::Decoded ProbeRun::decode(const IcmpReceived& r) const
{
    const auto bytes = icmp::bytesOf(r.bytes);
    if (r.queuedError)
        return icmp::decodeQueuedError(m_family, bytes, r.errorType, r.errorCode, r.errorInfo);
    if (m_family == icmp::Family::V6)
        return icmp::decodeIcmpv6Message(bytes);
    // Only raw IPv4 sockets read IP headers.
    return m_socketType == IcmpSocket::SocketType::Raw ? icmp::decodeIpPacket(bytes) : icmp::decodeIcmpMessage(bytes);
}

bool ProbeRun::interpret(const IcmpReceived& r, Reply& reply)
{
    if (r.truncated) {
        countIgnored(IgnoredReason::Truncated);
        return false;
    }
    const icmp::Decoded d = decode(r);
    if (d.verdict != icmp::Verdict::Answer) {
        countIgnored(reasonOf(d.verdict));
        return false;
    }
    const icmp::Answer& a = d.answer;
    const bool raw = m_socketType == IcmpSocket::SocketType::Raw;
    const bool ipHeader = raw && m_family == icmp::Family::V4;
    const QHostAddress responder = r.queuedError ? r.offender : ipHeader ? a.source : r.source;
    // An echo reply counts from the target only; an error only when it quotes a probe that went
    // to the target (the kernel gives a queued error's quoted destination as its source).
    const bool echo = a.kind == icmp::AnswerKind::EchoReply;
    if (!answersFor(echo ? responder : r.queuedError ? r.source : a.probeDestination, m_target)) {
        countIgnored(IgnoredReason::WrongSource);
        return false;
    }
    const auto probe = m_probes.constFind(a.sequence);
    // On a datagram socket the kernel owns the identifier and picks our packets by it.
    if ((raw && a.identifier != m_identifier) || probe == m_probes.cend()) {
        countIgnored(IgnoredReason::UnknownProbe);
        return false;
    }
    // A "too big" claiming an MTU our probe fits in cannot be about it: a forgery, or meant for
    // another packet. The probe's own answer may still come.
    const int probeBytes = (m_family == icmp::Family::V6 ? icmp::kIpv6HeaderSize : icmp::kIpv4HeaderSize)
        + icmp::kHeaderSize + m_dataSize;
    if (a.kind == icmp::AnswerKind::TooBig && a.mtu >= quint32(probeBytes)) {
        countIgnored(IgnoredReason::MtuFits);
        return false;
    }
    // The kernel's receive stamp, not the time the event loop got round to the socket.
    const qint64 arrival = r.kernelTimeNs.value_or(m_adapters.clock->realtimeNs());
    qint64 trip = arrival - probe->sentRealNs;
    if (trip < 0)   // the wall clock was set back meanwhile
        trip = now() - probe->sentMonoNs;
    reply.owner = probe->owner;
    reply.probe = probe->number;
    reply.answer = a;
    reply.responder = responder;
    reply.ttl = ipHeader ? a.ttl : r.ttl;
    reply.tripNs = trip;
    return true;
}

RunReport ProbeRun::answerReport(const Reply& reply, int hop) const
{
    RunReport r;
    r.outcome = RunReport::Outcome::Answer;
    r.hop = hop;
    r.probe = reply.probe;
    r.responder = reply.responder;
    r.tripNs = reply.tripNs;
    r.family = m_family;
    r.answer = reply.answer.kind;
    r.type = reply.answer.type;
    r.code = reply.answer.code;
    r.dataSize = reply.answer.dataSize;
    r.ttl = std::max(reply.ttl, 0);
    return r;
}
