#include "TraceRun.h"

#include "IcmpText.h"
#include "LocalAddress.h"

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
    ++h.probesSent;
    h.lastSentNs = now();
    if (const int error = sendProbe(hop, hop); error != 0) {
        RunRow row;
        row.text = icmp::faultText(icmp::Fault::TransmitFailed, error, dottedQuad(target()));
        pushRow(row);
        finish();
        return false;
    }
    return true;
}

void TraceRun::onReply(const Reply& reply)
{
    const int hop = reply.owner;
    Hop& h = m_hops[size_t(hop)];
    // Hops past the end, hops already listed, and answers after the hop's first.
    if (hop > m_lastHop || hop < m_nextRow || h.answered) {
        countIgnored(Ignored::Late);
        return;
    }
    h.answered = true;
    h.silent = false;   // a late answer still counts while the hop is not listed
    h.reply = reply;
    lookUpName(reply.responder);
    const icmp::Answer& a = reply.answer;
    // The trace ends at the target, or at a router that refuses to go on.
    if (!a.isError || a.type != icmp::kTimeExceeded)
        m_lastHop = std::min(m_lastHop, hop);
    listReadyHops();
}

qint64 TraceRun::giveUpAt(int hop) const
{
    const Hop& h = m_hops[size_t(hop)];
    qint64 at = h.lastSentNs + kProbeTimeoutNs;
    for (int farther = hop + 1; farther <= m_lastHop; ++farther) {
        const Hop& f = m_hops[size_t(farther)];
        if (f.answered) {
            at = std::min(at, h.lastSentNs + std::max(kNearFactor * f.reply.tripNs, kNearFloorNs));
            break;
        }
    }
    return at;
}

void TraceRun::onTime(qint64 nowNs)
{
    for (int hop = m_nextRow; hop <= m_lastHop && probing(); ++hop) {
        Hop& h = m_hops[size_t(hop)];
        if (h.answered || h.silent || nowNs < giveUpAt(hop))
            continue;
        if (h.probesSent < kProbesPerHop) {
            if (!probe(hop))
                return;
        } else {
            h.silent = true;
        }
    }
    listReadyHops();
}

qint64 TraceRun::nextDeadline() const
{
    qint64 next = kNever;
    for (int hop = m_nextRow; hop <= m_lastHop; ++hop) {
        const Hop& h = m_hops[size_t(hop)];
        if (!h.answered && !h.silent)
            next = std::min(next, giveUpAt(hop));
    }
    return next;
}

void TraceRun::listReadyHops()
{
    while (probing() && m_nextRow <= m_lastHop) {
        const int hop = m_nextRow;
        const Hop& h = m_hops[size_t(hop)];
        if (!h.answered && !h.silent)
            return;
        RunRow row;
        row.kind = RunRow::Kind::Hop;
        row.hop = hop;
        if (h.answered) {
            const icmp::Answer& a = h.reply.answer;
            row.hasResponder = true;
            row.responder = h.reply.responder;
            row.tripTime = icmp::tripTimeText(h.reply.tripNs);
            row.text = a.isError ? icmp::errorName(a.type, a.code) : icmp::successText();
            row.returnCode = a.isError ? (a.type << 8 | a.code) : 0;
        } else {
            row.tripTime = QStringLiteral("*");
            row.text = icmp::timedOutText();
            row.returnCode = -1;
        }
        ++m_nextRow;
        const bool last = hop == m_lastHop;
        pushRow(row);
        if (last)
            finish();
    }
}
