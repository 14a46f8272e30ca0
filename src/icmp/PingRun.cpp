#include "PingRun.h"

#include "IcmpText.h"
#include "LocalAddress.h"

namespace {

// The system's default TTL.
constexpr int kDefaultTtl = -1;

} // namespace

void PingRun::begin()
{
    m_startNs = now();
    // Replies come from the target as a rule: its name is looked up while the first echo travels.
    lookUpName(target());
    sendNext();
}

void PingRun::sendNext()
{
    const int index = m_sent++;
    Echo& echo = m_echoes[size_t(index)];
    echo.sentNs = now();
    if (const int error = sendProbe(kDefaultTtl, index); error != 0) {
        echo.state = Echo::State::Done;
        RunRow row;
        row.text = icmp::faultText(icmp::Fault::TransmitFailed, error, dottedQuad(target()));
        pushRow(row);
        finishWhenDone();
        return;
    }
    echo.state = Echo::State::Waiting;
}

void PingRun::onReply(const Reply& reply)
{
    Echo& echo = m_echoes[size_t(reply.owner)];
    if (echo.state != Echo::State::Waiting) {   // a duplicate, or an answer after its time-out
        countIgnored(Ignored::Late);
        return;
    }
    echo.state = Echo::State::Done;
    RunRow row;
    if (reply.answer.isError) {
        row.text = icmp::errorFromText(reply.answer.type, reply.answer.code, reply.responder);
    } else {
        row.kind = RunRow::Kind::Echo;
        row.hasResponder = true;
        row.responder = reply.responder;
        row.tripTime = icmp::tripTimeText(reply.tripNs);
        row.dataSize = reply.answer.dataSize;
        row.ttl = std::max(reply.ttl, 0);
    }
    pushRow(row);
    finishWhenDone();
}

void PingRun::onTime(qint64 nowNs)
{
    for (Echo& echo : m_echoes) {
        if (echo.state == Echo::State::Waiting && nowNs >= echo.sentNs + kTimeoutNs) {
            echo.state = Echo::State::Done;
            RunRow row;
            row.text = icmp::timedOutText();
            pushRow(row);
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
            next = std::min(next, echo.sentNs + kTimeoutNs);
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
