#include "AxIcmp.h"

#include "LocalAddress.h"
#include "platform/InterfaceList.h"

AxIcmp::AxIcmp(InterfaceList& interfaces, QObject* parent)
    : IcmpControl(parent)
    , m_interfaces(interfaces)
{
}

AxIcmp::~AxIcmp() = default;

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
    emit Error(tr("Ping is not available yet."), kFalse16);
    emit SequenceComplete();
}

void AxIcmp::Trace()
{
    emit Error(tr("Traceroute is not available yet."), kFalse16);
    emit SequenceComplete();
}
