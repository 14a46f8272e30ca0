#include "AxIcmp.h"

#include "IcmpText.h"
#include "LocalAddress.h"
#include "PingRun.h"
#include "TraceRun.h"
#include "platform/InterfaceList.h"
#include "platform/NameLookup.h"

#include <arpa/inet.h>

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
    return chooseLocalIp(m_interfaces.interfaces(), m_interfaces.defaultRouteInterface());
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

int AxIcmp::ignoredPackets() const
{
    return m_ignoredEarlier + (m_run ? m_run->ignoredTotal() : 0);
}

void AxIcmp::start(RunKind kind)
{
    endRun();
    const quint64 generation = ++m_generation;
    const QByteArray host = m_hostAddress.toUtf8();
    in_addr literal{};
    if (::inet_pton(AF_INET, host.constData(), &literal) == 1) {
        // Started from the event loop, so the caller's own steps come first.
        const quint32 target = ntohl(literal.s_addr);
        QMetaObject::invokeMethod(this, [this, kind, target, generation] {
            if (generation == m_generation)
                launch(kind, target);
        }, Qt::QueuedConnection);
        return;
    }
    m_adapters.names->addressOf(m_hostAddress, this, [this, kind, generation](std::optional<quint32> target) {
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

void AxIcmp::launch(RunKind kind, quint32 target)
{
    const ProbeRun::Deliver deliver = [this](const RunRow& row, const QString& name) {
        return this->deliver(row, name);
    };
    if (kind == RunKind::Ping)
        m_run = new PingRun(m_adapters, target, m_charsPerPacket, deliver, this);
    else
        m_run = new TraceRun(m_adapters, target, m_charsPerPacket, deliver, this);
    m_run->start();
    if (m_run && m_run->hasSocket())
        m_socketKind = m_run->socketKind();
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
    m_ignoredEarlier += run->ignoredTotal();
    m_run = nullptr;
    // Not deleted here: the run may be inside one of its own events.
    run->deleteLater();
}

bool AxIcmp::deliver(const RunRow& row, const QString& name)
{
    const QString ip = row.hasResponder ? dottedQuad(row.responder) : QStringLiteral("*");
    switch (row.kind) {
    case RunRow::Kind::Error:
        emit Error(row.text, kFalse16);
        return false;
    case RunRow::Kind::Echo:
        emit PingData(ip, name, row.tripTime, icmp::successText(), 0, qint16(std::min(row.dataSize, 32767)),
                      quint8(row.ttl));
        return false;
    case RunRow::Kind::Hop: {
        Bool16 cancel = kFalse16;
        emit TraceData(ip, name, row.tripTime, row.text, row.returnCode, QString::number(row.hop), &cancel);
        return cancel == kTrue16;
    }
    case RunRow::Kind::Complete:
        if (m_run)
            retire(m_run);
        emit SequenceComplete();
        return false;
    }
    return false;
}
