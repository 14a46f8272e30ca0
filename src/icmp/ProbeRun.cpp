#include "ProbeRun.h"

#include "platform/EngineClock.h"
#include "platform/NameLookup.h"

#include <QRandomGenerator>

namespace {

// A report waits this long for its responder's name, counted from the lookup's start.
constexpr qint64 kNameWaitNs = 1000 * ProbeRun::kMillisecond;
} // namespace

ProbeRun::ProbeRun(const IcmpAdapters& adapters, const QHostAddress& target, int dataSize, Deliver deliver,
                   QObject* parent)
    : QObject(parent)
    , m_adapters(adapters)
    , m_target(target)
    , m_family(target.protocol() == QAbstractSocket::IPv6Protocol ? icmp::Family::V6 : icmp::Family::V4)
    , m_dataSize(dataSize)
    , m_deliver(std::move(deliver))
    , m_alarm(adapters.clock->createAlarm([this] { onAlarm(); }))
    // A raw socket sees every ICMP packet of the host: a random identifier and first sequence
    // per run keep other programs' replies, those of an earlier run and guessed ones apart.
    , m_identifier(quint16(QRandomGenerator::global()->generate()))
    , m_nextSequence(quint16(QRandomGenerator::global()->generate()))
{
}

ProbeRun::~ProbeRun() = default;

void ProbeRun::start()
{
    IcmpSocketOpen opened = m_adapters.sockets->open(m_family == icmp::Family::V6 ? QAbstractSocket::IPv6Protocol
                                                                                  : QAbstractSocket::IPv4Protocol);
    if (!opened.socket) {
        openFailed(opened);
        return;
    }
    m_socket = std::move(opened.socket);
    m_socketType = m_socket->socketType();
    connect(m_socket.get(), &IcmpSocket::readyRead, this, [this] {
        readReplies();
        reschedule();
    });
    begin();
    reschedule();
}

void ProbeRun::openFailed(const IcmpSocketOpen& opened)
{
    RunReport r;
    r.outcome = RunReport::Outcome::Fault;
    if (opened.failedOption) {
        r.fault = icmp::Fault::SocketSetupFailed;
        r.errorNumber = opened.optionErrno;
        r.option = opened.failedOption;
    } else if (opened.rawErrno == EPERM || opened.rawErrno == EACCES) {
        r.fault = icmp::Fault::NoSocketPermission;
        r.errorNumber = opened.rawErrno;
    } else {
        r.fault = icmp::Fault::SocketFailed;
        r.errorNumber = opened.rawErrno ? opened.rawErrno : opened.datagramErrno;
    }
    report(r);
    finish();
}

void ProbeRun::stop()
{
    m_stopped = true;
    m_socket.reset();
    m_alarm->cancel();
    m_reports.clear();
}

qint64 ProbeRun::now() const
{
    return m_adapters.clock->monotonicNs();
}

qint64 ProbeRun::realtimeNow() const
{
    return m_adapters.clock->realtimeNs();
}

void ProbeRun::forgetProbes(int owner)
{
    m_probes.removeIf([owner](const auto& entry) { return entry.value().owner == owner; });
}

int ProbeRun::sendProbe(int ttl, int owner, int probe)
{
    const quint16 sequence = m_nextSequence++;
    const QByteArray message = icmp::encodeEchoRequest(m_family, m_identifier, sequence, m_dataSize);
    // Stamped right before the send, as the kernel stamps the answer right on arrival.
    const Probe sent{owner, probe, m_adapters.clock->realtimeNs(), now()};
    const int error = m_socket->send(m_target, ttl, message);
    if (error == 0)
        m_probes.insert(sequence, sent);
    return error;
}

void ProbeRun::reportSendFailure(int errorNumber)
{
    RunReport r;
    r.fault = icmp::Fault::TransmitFailed;
    r.errorNumber = errorNumber;
    report(r);
}

RunReport ProbeRun::silentReport(int hop, int probe) const
{
    RunReport r;
    r.outcome = RunReport::Outcome::Silent;
    r.hop = hop;
    r.probe = probe;
    r.family = m_family;
    return r;
}

void ProbeRun::lookUpName(const QHostAddress& address)
{
    if (m_names.contains(address))
        return;
    m_names.insert(address, Name{QString(), false, now() + kNameWaitNs});
    m_adapters.names->nameOf(address, this, [this, address](const QString& name) {
        Name& n = m_names[address];
        n.text = name;
        n.done = true;
        flush();
        reschedule();
    });
}

void ProbeRun::report(RunReport r)
{
    if (m_stopped)
        return;
    if (r.outcome == RunReport::Outcome::Answer)
        lookUpName(r.responder);
    m_reports.push_back(std::move(r));
    flush();
}

void ProbeRun::finish()
{
    RunReport end;
    end.outcome = RunReport::Outcome::Complete;
    m_socket.reset();
    report(end);
}

void ProbeRun::flush()
{
    if (m_delivering)
        return;
    while (!m_stopped && !m_reports.empty()) {
        const RunReport& head = m_reports.front();
        QString name;
        if (head.outcome == RunReport::Outcome::Answer) {
            const Name& n = m_names[head.responder];
            if (!n.done && now() < n.deadlineNs)
                return;
            name = n.text;
        }
        const RunReport r = head;
        m_reports.pop_front();
        m_delivering = true;
        const bool endRequested = m_deliver(r, name);
        m_delivering = false;
        if (m_stopped)   // the control ended or replaced this run during the event
            return;
        if (r.outcome == RunReport::Outcome::Complete) {
            stop();
            return;
        }
        if (endRequested) {
            m_reports.clear();
            m_socket.reset();
            RunReport end;
            end.outcome = RunReport::Outcome::Complete;
            m_reports.push_back(end);
        }
    }
}

void ProbeRun::onAlarm()
{
    // Replies already in the socket count before any wait is judged over.
    readReplies();
    if (probing())
        onTime(now());
    flush();
    reschedule();
}

void ProbeRun::reschedule()
{
    if (m_stopped)
        return;
    qint64 next = probing() ? nextDeadline() : kNever;
    if (!m_reports.empty() && m_reports.front().outcome == RunReport::Outcome::Answer) {
        const Name& n = m_names[m_reports.front().responder];
        if (!n.done)
            next = std::min(next, n.deadlineNs);
    }
    if (next == kNever)
        m_alarm->cancel();
    else
        m_alarm->setDeadline(next);
}
