#include "ProbeRun.h"

#include "IcmpText.h"
#include "platform/EngineClock.h"
#include "platform/NameLookup.h"

#include <QRandomGenerator>

namespace {

// A row waits this long for its responder's name, counted from the lookup's start.
constexpr qint64 kNameWaitNs = 1000 * 1000000LL;
// Replies read in one go; the socket stays readable for the rest.
constexpr int kReadBatch = 256;

} // namespace

ProbeRun::ProbeRun(const IcmpAdapters& adapters, quint32 target, int dataSize, Deliver deliver, QObject* parent)
    : QObject(parent)
    , m_adapters(adapters)
    , m_target(target)
    , m_dataSize(dataSize)
    , m_deliver(std::move(deliver))
    , m_alarm(adapters.clock->createAlarm([this] { onAlarm(); }))
    // A raw socket sees every ICMP packet of the host: a random identifier per run keeps
    // other programs' replies, and those of an earlier run, apart from ours.
    , m_identifier(quint16(QRandomGenerator::global()->generate()))
    , m_nextSequence(quint16(QRandomGenerator::global()->generate()))
{
}

ProbeRun::~ProbeRun() = default;

void ProbeRun::start()
{
    IcmpSocketOpen opened = m_adapters.sockets->open();
    if (!opened.socket) {
        const bool denied = opened.datagramErrno == EACCES || opened.datagramErrno == EPERM;
        const bool rawDenied = opened.rawErrno == EPERM || opened.rawErrno == EACCES;
        RunRow row;
        row.text = denied && rawDenied
            ? icmp::faultText(icmp::Fault::NoSocketPermission, opened.rawErrno)
            : icmp::faultText(icmp::Fault::SocketFailed, rawDenied ? opened.datagramErrno : opened.rawErrno);
        pushRow(row);
        finish();
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

void ProbeRun::stop()
{
    m_stopped = true;
    m_socket.reset();
    m_alarm->cancel();
    m_rows.clear();
}

int ProbeRun::ignoredTotal() const
{
    int total = 0;
    for (int n : m_ignored)
        total += n;
    return total;
}

qint64 ProbeRun::now() const
{
    return m_adapters.clock->monotonicNs();
}

int ProbeRun::sendProbe(int ttl, int owner)
{
    const quint16 sequence = m_nextSequence++;
    const QByteArray message = icmp::encodeEchoRequest(m_identifier, sequence, m_dataSize);
    // Stamped right before the send, as the kernel stamps the answer right on arrival.
    const Probe probe{owner, m_adapters.clock->realtimeNs(), now()};
    const int error = m_socket->send(m_target, ttl, message);
    if (error == 0)
        m_probes.insert(sequence, probe);
    return error;
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
    const icmp::Decoded d = r.queuedError ? icmp::decodeQueuedError(icmp::bytesOf(r.bytes), r.errorType, r.errorCode)
        : raw                             ? icmp::decodeIpPacket(icmp::bytesOf(r.bytes))
                                          : icmp::decodeIcmpMessage(icmp::bytesOf(r.bytes));
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
    // On a datagram socket the kernel owns the identifier and hands us only our own packets.
    const bool ours = !raw
        || (a.identifier == m_identifier && (!a.isError || a.probeDestination == m_target));
    const auto probe = m_probes.constFind(a.sequence);
    if (!ours || probe == m_probes.cend()) {
        countIgnored(Ignored::NotOurs);
        return false;
    }
    reply.owner = probe->owner;
    reply.answer = a;
    reply.responder = r.queuedError ? r.offender : raw ? a.source : r.source;
    reply.ttl = raw ? a.ttl : r.ttl;
    // The kernel's receive stamp, not the time the event loop got round to the socket.
    const qint64 arrival = r.kernelTimeNs.value_or(m_adapters.clock->realtimeNs());
    reply.tripNs = arrival - probe->sentRealNs;
    if (reply.tripNs < 0)   // the wall clock was set back meanwhile
        reply.tripNs = now() - probe->sentMonoNs;
    return true;
}

void ProbeRun::lookUpName(quint32 address)
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

void ProbeRun::pushRow(RunRow row)
{
    if (m_stopped)
        return;
    if (row.hasResponder)
        lookUpName(row.responder);
    m_rows.push_back(std::move(row));
    flush();
}

void ProbeRun::finish()
{
    RunRow end;
    end.kind = RunRow::Kind::Complete;
    m_socket.reset();
    pushRow(end);
}

void ProbeRun::flush()
{
    if (m_delivering)
        return;
    while (!m_stopped && !m_rows.empty()) {
        const RunRow& head = m_rows.front();
        QString name;
        if (head.hasResponder) {
            const Name& n = m_names[head.responder];
            if (!n.done && now() < n.deadlineNs)
                return;
            name = n.text;
        }
        const RunRow row = head;
        m_rows.pop_front();
        m_delivering = true;
        const bool endRequested = m_deliver(row, name);
        m_delivering = false;
        if (m_stopped)   // the control ended or replaced this run during the event
            return;
        if (row.kind == RunRow::Kind::Complete) {
            stop();
            return;
        }
        if (endRequested) {
            m_rows.clear();
            m_socket.reset();
            RunRow end;
            end.kind = RunRow::Kind::Complete;
            m_rows.push_back(end);
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
    if (!m_rows.empty() && m_rows.front().hasResponder) {
        const Name& n = m_names[m_rows.front().responder];
        if (!n.done)
            next = std::min(next, n.deadlineNs);
    }
    if (next == kNever)
        m_alarm->cancel();
    else
        m_alarm->setDeadline(next);
}
