#include "PingRun.h"

namespace {

// The system's default TTL.
constexpr int kDefaultTtl = -1;

} // namespace

void PingRun::begin()
{
    m_startNs = now();
    // Replies come from the target: its name is looked up while the first echo travels.
    lookUpName(target());
    sendNext();
}

void PingRun::sendNext()
{
    const int index = m_sent++;
    Echo& echo = m_echoes[size_t(index)];
    echo.sentNs = now();
    if (const int error = sendProbe(kDefaultTtl, index, index + 1); error != 0) {
        // Reported, and the next echo is tried in its turn, as the network may come back.
        echo.state = Echo::State::Done;
        reportSendFailure(error);
        finishWhenDone();
        return;
    }
    echo.state = Echo::State::Waiting;
}

void PingRun::onReply(const Reply& reply)
{
    Echo& echo = m_echoes[size_t(reply.owner)];
    if (echo.state != Echo::State::Waiting) {   // a duplicate, or an answer after its time-out
        countIgnored(icmp::IgnoredReason::Late);
        return;
    }
    echo.state = Echo::State::Done;
    report(answerReport(reply, 0));
    finishWhenDone();
}

void PingRun::onTime(qint64 nowNs)
{
    for (size_t i = 0; i < m_echoes.size(); ++i) {
        Echo& echo = m_echoes[i];
        if (echo.state == Echo::State::Waiting && nowNs >= echo.sentNs + kProbeWaitNs) {
            echo.state = Echo::State::Done;
            report(silentReport(0, int(i) + 1));
        }
    }
    while (probing() && m_sent < kEchoes && nowNs >= m_startNs + m_sent * kIntervalNs)
        sendNext();
    finishWhenDone();
}

qint64 PingRun::nextDeadline() const
{
    qint64 next = m_sent < kEchoes ? m_startNs + m_sent * kIntervalNs : kNever;
    for (const Echo& echo : m_echoes) {
        if (echo.state == Echo::State::Waiting)
            next = std::min(next, echo.sentNs + kProbeWaitNs);
    }
    return next;
}

void PingRun::finishWhenDone()
{
    if (!probing() || m_sent < kEchoes)
        return;
    for (const Echo& echo : m_echoes) {
        if (echo.state != Echo::State::Done)
            return;
    }
    finish();
}
