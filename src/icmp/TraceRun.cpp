#include "TraceRun.h"

void TraceRun::begin()
{
    for (int hop = 1; hop <= kMaxHops && probing(); ++hop) {
        if (!probe(hop))
            return;
    }
}

bool TraceRun::probe(int hop)
{
    Hop& h = m_hops[size_t(hop)];
    if (h.probesSent == 0)
        h.firstSentNs = now();
    ++h.probesSent;
    if (const int error = sendProbe(hop, hop, h.probesSent); error != 0) {
        reportSendFailure(error);
        finish();
        return false;
    }
    return true;
}

void TraceRun::onReply(const Reply& reply)
{
    const int hop = reply.owner;
    Hop& h = m_hops[size_t(hop)];
    // Hops past the end, hops already reported, and answers after the hop's first.
    if (hop > m_lastHop || hop < m_nextReport || h.reply) {
        countIgnored(icmp::IgnoredReason::Late);
        return;
    }
    // A router on the way says time exceeded; the target answers the echo. An unreachable,
    // too big or parameter problem answer ends the trace there: every farther probe carries
    // the same header to the same place. Anything else says nothing about the hop.
    switch (reply.answer.kind) {
    case icmp::AnswerKind::TimeExceeded:
        break;
    case icmp::AnswerKind::EchoReply:
    case icmp::AnswerKind::Unreachable:
    case icmp::AnswerKind::TooBig:
    case icmp::AnswerKind::ParameterProblem:
        m_lastHop = std::min(m_lastHop, hop);
        break;
    case icmp::AnswerKind::OtherError:
        countIgnored(icmp::IgnoredReason::NotAHop);
        return;
    }
    h.reply = reply;
    h.silent = false;   // an answer within its probe's wait still counts while the hop is not reported
    lookUpName(reply.responder);
    reportReadyHops();
}

bool TraceRun::pending(int hop) const
{
    const Hop& h = m_hops[size_t(hop)];
    return !h.reply && !h.silent;
}

qint64 TraceRun::waitOf(int hop) const
{
    for (int farther = hop + 1; farther <= m_lastHop; ++farther) {
        if (const auto& reply = m_hops[size_t(farther)].reply)
            return std::min(kProbeWaitNs, std::max(kNearFactor * reply->tripNs, kNearFloorNs));
    }
    return kProbeWaitNs;
}

qint64 TraceRun::nextProbeAt(int hop) const
{
    const Hop& h = m_hops[size_t(hop)];
    return h.probesSent < kProbesPerHop ? h.firstSentNs + h.probesSent * waitOf(hop) / kProbesPerHop : kNever;
}

void TraceRun::onTime(qint64 nowNs)
{
    for (int hop = m_nextReport; hop <= m_lastHop && probing(); ++hop) {
        if (!pending(hop))
            continue;
        Hop& h = m_hops[size_t(hop)];
        if (nowNs >= h.firstSentNs + waitOf(hop))
            h.silent = true;
        else if (nowNs >= nextProbeAt(hop) && !probe(hop))
            return;
    }
    reportReadyHops();
}

qint64 TraceRun::nextDeadline() const
{
    qint64 next = kNever;
    for (int hop = m_nextReport; hop <= m_lastHop; ++hop) {
        if (pending(hop))
            next = std::min({next, nextProbeAt(hop), m_hops[size_t(hop)].firstSentNs + waitOf(hop)});
    }
    return next;
}

void TraceRun::reportReadyHops()
{
    while (probing() && m_nextReport <= m_lastHop && !pending(m_nextReport)) {
        const int hop = m_nextReport++;
        const Hop& h = m_hops[size_t(hop)];
        report(h.reply ? answerReport(*h.reply, hop) : silentReport(hop, h.probesSent));
        if (hop == m_lastHop)
            finish();
    }
}
