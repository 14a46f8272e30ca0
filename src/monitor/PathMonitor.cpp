#include "PathMonitor.h"

#include "icmp/IcmpText.h"
#include "icmp/RoundRun.h"
#include "platform/NameLookup.h"

namespace monitor {
namespace {

// A round as the model counts it. A hop that answered from the target ends the path there;
// an unreachable from a router ends it for this round.
Round toRound(const RoundRun::Result& result, const QHostAddress& target)
{
    Round round;
    round.atMs = result.sentRealNs / 1000000;
    round.hops.reserve(qsizetype(result.hops.size()));
    for (const RoundRun::HopAnswer& a : result.hops) {
        if (!a.answered) {
            round.hops << HopSample::lost();
            continue;
        }
        const double ms = double(a.tripNs) / 1e6;
        const bool fromTarget = a.responder.isEqual(target, QHostAddress::TolerantConversion)
            || a.kind == icmp::AnswerKind::EchoReply;
        const bool ends = a.kind == icmp::AnswerKind::Unreachable || a.kind == icmp::AnswerKind::TooBig
            || a.kind == icmp::AnswerKind::ParameterProblem;
        round.hops << (ends ? HopSample::unreachableFrom(a.responder, ms, fromTarget) : HopSample::reply(a.responder, ms, fromTarget));
    }
    return round;
}

} // namespace

PathMonitor::PathMonitor(const IcmpAdapters& adapters, const Target& target, QObject* parent)
    : QObject(parent)
    , m_adapters(adapters)
    , m_target(target)
{
    m_verdict = judge(m_model, m_target);
}

PathMonitor::~PathMonitor()
{
    stop();
}

void PathMonitor::start(double intervalSeconds)
{
    stop();
    m_intervalSeconds = std::clamp(intervalSeconds, kMinIntervalSeconds, kMaxIntervalSeconds);
    const auto deliver = [this](const RunReport& report, const QString&) {
        if (report.outcome == RunReport::Outcome::Fault)
            emit failed(icmp::runFaultText(report, m_target.host));
        return false;
    };
    m_run = new RoundRun(m_adapters, m_target.address, deliver,
                         [this](const RoundRun::Result& result) {
                             m_sendErrno = result.sendErrno;
                             addRound(toRound(result, m_target.address));
                         },
                         this);
    m_run->setIntervalNs(qint64(m_intervalSeconds * 1e9));
    m_run->setPaused(m_paused);
    m_run->start();
}

void PathMonitor::stop()
{
    if (!m_run)
        return;
    m_run->stop();
    m_run->deleteLater();   // it may be inside one of its own callbacks
    m_run = nullptr;
}

void PathMonitor::setIntervalSeconds(double seconds)
{
    m_intervalSeconds = std::clamp(seconds, kMinIntervalSeconds, kMaxIntervalSeconds);
    if (m_run)
        m_run->setIntervalNs(qint64(m_intervalSeconds * 1e9));
}

void PathMonitor::setPaused(bool paused)
{
    m_paused = paused;
    if (m_run)
        m_run->setPaused(paused);
}

void PathMonitor::reset()
{
    m_model.reset();
    m_sendErrno = 0;
    if (m_run)   // the rounds find the target's hop again
        m_run->setHops(RoundRun::kMaxHops);
    m_verdict = judge(m_model, m_target);
    emit roundAdded();
    emit verdictChanged(m_verdict.text);
}

void PathMonitor::addRound(const Round& round)
{
    m_model.addRound(round);
    lookUpNames(round);
    const QString before = m_verdict.text;
    m_verdict = judge(m_model, m_target);
    emit roundAdded();
    if (m_verdict.text != before)
        emit verdictChanged(m_verdict.text);
}

void PathMonitor::lookUpNames(const Round& round)
{
    for (const HopSample& sample : round.hops) {
        if (!sample.answered || m_names.contains(sample.responder))
            continue;
        m_names.insert(sample.responder, QString());
        m_adapters.names->nameOf(sample.responder, this, [this, address = sample.responder](const QString& name) {
            m_names.insert(address, name);
            if (!name.isEmpty())
                emit namesChanged();
        });
    }
}

Report PathMonitor::report(const QHash<QHostAddress, Origin>& origins) const
{
    ReportInfo info{.target = m_target, .intervalSeconds = m_intervalSeconds, .names = {}, .origins = origins};
    for (auto it = m_names.cbegin(); it != m_names.cend(); ++it) {
        if (!it.value().isEmpty())
            info.names.insert(it.key(), it.value());
    }
    return buildReport(m_model, m_verdict, info);
}

} // namespace monitor
