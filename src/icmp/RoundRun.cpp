#include "RoundRun.h"

#include "platform/EngineClock.h"

RoundRun::RoundRun(const IcmpAdapters& adapters, const QHostAddress& target, Deliver deliver, RoundDone roundDone,
                   QObject* parent)
    : ProbeRun(adapters, target, 32, std::move(deliver), parent)
    , m_roundDone(std::move(roundDone))
{
}

void RoundRun::setIntervalNs(qint64 intervalNs)
{
    m_intervalNs = std::clamp(intervalNs, kMinIntervalNs, kMaxIntervalNs);
    onAlarmSoon();
}

void RoundRun::setHops(int hops)
{
    m_hops = std::clamp(hops, 1, kMaxHops);
}

void RoundRun::setPaused(bool paused)
{
    m_paused = paused;
    // Resumed: the next round goes out now, not at a time that passed while paused.
    if (!paused)
        m_lastRoundNs = now() - m_intervalNs;
    onAlarmSoon();
}

void RoundRun::begin()
{
    sendRound();
}

void RoundRun::sendRound()
{
    Pending round;
    round.result.number = m_nextNumber++;
    round.result.sentRealNs = realtimeNow();
    round.result.hops.resize(size_t(m_hops));
    round.settled.assign(size_t(m_hops), false);
    round.sentMonoNs = m_lastRoundNs = now();
    round.open = m_hops;
    m_pending.push_back(std::move(round));
    Pending& sent = m_pending.back();
    for (int hop = 1; hop <= m_hops && probing(); ++hop) {
        if (const int error = sendProbe(hop, sent.result.number, hop); error != 0) {
            if (!sent.result.sendErrno)
                sent.result.sendErrno = error;
            settle(sent, hop);
        }
    }
    handOverSettled();
}

RoundRun::Pending* RoundRun::find(int number)
{
    for (Pending& p : m_pending) {
        if (p.result.number == number)
            return &p;
    }
    return nullptr;
}

void RoundRun::settle(Pending& round, int hop)
{
    if (!round.settled[size_t(hop - 1)]) {
        round.settled[size_t(hop - 1)] = true;
        --round.open;
    }
}

void RoundRun::onReply(const Reply& reply)
{
    Pending* round = find(reply.owner);
    const int hop = reply.probe;
    // Rounds handed over, answers after the first, and trips longer than any wait are late.
    if (!round || hop < 1 || hop > int(round->settled.size()) || round->settled[size_t(hop - 1)]
        || reply.tripNs > kProbeWaitNs) {
        countIgnored(icmp::IgnoredReason::Late);
        return;
    }
    if (reply.answer.kind == icmp::AnswerKind::OtherError) {
        countIgnored(icmp::IgnoredReason::NotAHop);
        return;
    }
    // The target answered: later rounds stop one hop past it at once, not only once this round
    // is handed over (a silent hop would keep that two seconds away).
    if (reply.answer.kind == icmp::AnswerKind::EchoReply || reply.responder.isEqual(target(), QHostAddress::TolerantConversion))
        m_hops = std::min(m_hops, std::min(hop + 1, int(kMaxHops)));
    HopAnswer& a = round->result.hops[size_t(hop - 1)];
    a.answered = true;
    a.responder = reply.responder;
    a.tripNs = reply.tripNs;
    a.kind = reply.answer.kind;
    settle(*round, hop);
    handOverSettled();
}

void RoundRun::onTime(qint64 nowNs)
{
    for (Pending& round : m_pending) {
        if (nowNs < round.sentMonoNs + kProbeWaitNs)
            break;   // later rounds were sent later still
        for (int hop = 1; hop <= int(round.settled.size()); ++hop)
            settle(round, hop);
    }
    handOverSettled();
    if (!m_paused && probing() && nowNs >= m_lastRoundNs + m_intervalNs) {
        sendRound();
        // After a long stall (a suspend) the next round keeps the interval from this one, with no burst.
    }
}

qint64 RoundRun::nextDeadline() const
{
    qint64 next = m_paused ? kNever : m_lastRoundNs + m_intervalNs;
    for (const Pending& round : m_pending) {
        if (round.open > 0)
            return std::min(next, round.sentMonoNs + kProbeWaitNs);
    }
    return next;
}

void RoundRun::handOverSettled()
{
    while (!m_pending.empty() && m_pending.front().open == 0) {
        const Result result = std::move(m_pending.front().result);
        forgetProbes(result.number);
        m_pending.pop_front();
        m_roundDone(result);
        if (!probing())   // stopped from the callback
            return;
    }
}
