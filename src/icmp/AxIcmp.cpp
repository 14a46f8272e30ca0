#include "AxIcmp.h"

#include "IcmpText.h"
#include "LocalAddress.h"
#include "PingRun.h"
#include "TraceRun.h"
#include "platform/InterfaceList.h"
#include "platform/NameLookup.h"

#include <QCoreApplication>

#include <arpa/inet.h>

namespace {

// A literal address in its strict form ("198.18.0.1", "2001:db8::1"); nothing for names.
std::optional<QHostAddress> literalAddress(const QString& host)
{
    const QByteArray text = host.toUtf8();
    if (text.contains('\0'))
        return std::nullopt;
    in6_addr v6{};
    if (::inet_pton(AF_INET6, text.constData(), &v6) == 1)
        return QHostAddress(v6.s6_addr);
    in_addr v4{};
    if (::inet_pton(AF_INET, text.constData(), &v4) == 1)
        return QHostAddress(ntohl(v4.s_addr));
    return std::nullopt;
}

} // namespace

AxIcmp::AxIcmp(InterfaceList& interfaces, const IcmpAdapters& adapters, QObject* parent)
    : IcmpControl(parent)
    , m_interfaces(interfaces)
    , m_adapters(adapters)
{
}

AxIcmp::~AxIcmp()
{
    // Ends the run and frees its socket before anything else of the control goes.
    if (m_run)
        m_run->stop();
}

QString AxIcmp::LocalIP() const
{
    return chooseLocalIp(m_interfaces.interfaces(), m_interfaces);
}

QString AxIcmp::LocalHostName() const
{
    return m_interfaces.hostName();
}

void AxIcmp::Ping()
{
    start(RunKind::Ping);
}

void AxIcmp::Trace()
{
    start(RunKind::Trace);
}

icmp::IgnoredCounts AxIcmp::ignoredPackets() const
{
    icmp::IgnoredCounts all = m_ignoredEarlier;
    if (m_run)
        all += m_run->ignored();
    return all;
}

void AxIcmp::start(RunKind kind)
{
    endRun();
    const quint64 generation = ++m_generation;
    const std::optional<QHostAddress> known = !m_target.isNull() ? std::optional(m_target) : literalAddress(m_hostAddress);
    if (known) {
        // Started from the event loop, so the caller's own steps come first.
        QMetaObject::invokeMethod(this, [this, kind, target = *known, generation] {
            if (generation == m_generation)
                launch(kind, target);
        }, Qt::QueuedConnection);
        return;
    }
    m_adapters.names->addressOf(m_hostAddress, this, [this, kind, generation](std::optional<QHostAddress> target) {
        if (generation != m_generation)
            return;
        if (target) {
            launch(kind, *target);
            return;
        }
        ++m_generation;
        emit Error(icmp::faultText(icmp::Fault::HostNotFound, 0, m_hostAddress), kFalse16);
        emit SequenceComplete();
    });
}

void AxIcmp::launch(RunKind kind, const QHostAddress& target)
{
    const ProbeRun::Deliver deliver = [this](const RunReport& report, const QString& name) {
        return this->deliver(report, name);
    };
    if (kind == RunKind::Ping)
        m_run = new PingRun(m_adapters, target, m_charsPerPacket, deliver, this);
    else
        m_run = new TraceRun(m_adapters, target, m_charsPerPacket, deliver, this);
    m_run->start();
    if (m_run && m_run->hasSocket())
        m_socketType = m_run->socketType();
}

void AxIcmp::endRun()
{
    if (!m_run)
        return;
    m_run->stop();
    retire(m_run);
}

void AxIcmp::retire(ProbeRun* run)
{
    m_ignoredEarlier += run->ignored();
    m_run = nullptr;
    // Not deleted here: the run may be inside one of its own events.
    run->deleteLater();
}

QString AxIcmp::faultText(const RunReport& report) const
{
    return icmp::runFaultText(report, m_hostAddress);
}

bool AxIcmp::deliver(const RunReport& report, const QString& name)
{
    using Outcome = RunReport::Outcome;
    const bool trace = report.hop > 0;
    const bool echo = report.answer == icmp::AnswerKind::EchoReply;
    switch (report.outcome) {
    case Outcome::Fault:
        emit Error(faultText(report), kFalse16);
        return false;
    case Outcome::Complete:
        if (m_run)
            retire(m_run);
        emit SequenceComplete();
        return false;
    case Outcome::Silent:
        if (!trace) {
            emit Error(icmp::timedOutText(), kFalse16);
            return false;
        }
        break;
    case Outcome::Answer:
        if (!trace && echo) {
            emit PingData(icmp::addressText(report.responder), name, icmp::tripTimeText(report.tripNs),
                          icmp::successText(), 0, qint16(std::min(report.dataSize, 32767)), quint8(report.ttl));
            return false;
        }
        if (!trace) {
            emit Error(icmp::errorFromText(report.family, report.type, report.code, report.responder), kFalse16);
            return false;
        }
        break;
    }
    // A hop of a trace.
    const bool answered = report.outcome == Outcome::Answer;
    const QString description = !answered ? icmp::timedOutText()
        : echo                            ? icmp::successText()
                                          : icmp::errorName(report.family, report.type, report.code);
    const qint32 returnCode = !answered ? -1 : echo ? 0 : (report.type << 8 | report.code);
    Bool16 cancel = kFalse16;
    emit TraceData(answered ? icmp::addressText(report.responder) : QStringLiteral("*"), name,
                   answered ? icmp::tripTimeText(report.tripNs) : QStringLiteral("*"), description, returnCode,
                   QString::number(report.hop), &cancel);
    return cancel == kTrue16;
}
