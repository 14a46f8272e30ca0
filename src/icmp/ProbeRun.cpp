#include "ProbeRun.h"

#include "platform/EngineClock.h"
#include "platform/NameLookup.h"

#include <QRandomGenerator>

#include <cstring>

namespace {

// A report waits this long for its responder's name, counted from the lookup's start.
constexpr qint64 kNameWaitNs = 1000 * ProbeRun::kMillisecond;
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
    m_socketKind = m_socket->kind();
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
    r.kind = RunReport::Kind::Fault;
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

bool ProbeRun::interpret(const IcmpReceived& r, Reply& reply)
{
    if (r.truncated) {
        countIgnored(Ignored::Truncated);
        return false;
    }
    const bool raw = m_socketKind == IcmpSocket::Kind::Raw;
    const bool ipHeader = raw && m_family == icmp::Family::V4;   // only raw IPv4 sockets read IP headers
    const auto bytes = icmp::bytesOf(r.bytes);
    const icmp::Decoded d = r.queuedError               ? icmp::decodeQueuedError(m_family, bytes, r.errorType, r.errorCode)
        : ipHeader                                      ? icmp::decodeIpPacket(bytes)
        : m_family == icmp::Family::V6                  ? icmp::decodeIcmpv6Message(bytes)
                                                        : icmp::decodeIcmpMessage(bytes);
    switch (d.verdict) {
    case icmp::Verdict::Answer:
        break;
    case icmp::Verdict::Truncated:
        countIgnored(Ignored::Truncated);
        return false;
    case icmp::Verdict::BadChecksum:
        countIgnored(Ignored::BadChecksum);
        return false;
    case icmp::Verdict::NotOurProbe:
    case icmp::Verdict::NotAnAnswer:
    case icmp::Verdict::NotIcmp:
        countIgnored(Ignored::NotOurs);
        return false;
    case icmp::Verdict::BadIpHeader:
        countIgnored(Ignored::Malformed);
        return false;
    }
    const icmp::Answer& a = d.answer;
    const QHostAddress responder = r.queuedError ? r.offender : ipHeader ? a.source : r.source;
    // An echo reply counts from the target only; an error only when it quotes a probe that
    // went to the target (the kernel gives a queued error's quoted destination as its source).
    const bool echo = a.kind == icmp::Kind::EchoReply;
    const QHostAddress& about = echo ? responder : r.queuedError ? r.source : a.probeDestination;
    // On a datagram socket the kernel owns the identifier and picks our packets by it.
    const bool ours = sameAddress(about, m_target) && (!raw || a.identifier == m_identifier);
    const auto probe = m_probes.constFind(a.sequence);
    if (!ours || probe == m_probes.cend()) {
        countIgnored(Ignored::NotOurs);
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
    r.kind = RunReport::Kind::Answer;
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

RunReport ProbeRun::silentReport(int hop, int probe) const
{
    RunReport r;
    r.kind = RunReport::Kind::Silent;
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
    if (r.kind == RunReport::Kind::Answer)
        lookUpName(r.responder);
    m_reports.push_back(std::move(r));
    flush();
}

void ProbeRun::finish()
{
    RunReport end;
    end.kind = RunReport::Kind::Complete;
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
        if (head.kind == RunReport::Kind::Answer) {
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
        if (r.kind == RunReport::Kind::Complete) {
            stop();
            return;
        }
        if (endRequested) {
            m_reports.clear();
            m_socket.reset();
            RunReport end;
            end.kind = RunReport::Kind::Complete;
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
    if (!m_reports.empty() && m_reports.front().kind == RunReport::Kind::Answer) {
        const Name& n = m_names[m_reports.front().responder];
        if (!n.done)
            next = std::min(next, n.deadlineNs);
    }
    if (next == kNever)
        m_alarm->cancel();
    else
        m_alarm->setDeadline(next);
}
