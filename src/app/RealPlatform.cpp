#include "RealPlatform.h"

#include "icmp/AxIcmp.h"
#include "platform/LinuxInterfaceList.h"
#include "platform/QtBusyPointer.h"
#include "platform/QtMessageBox.h"
#include "platform/QtTcpControl.h"
#include "platform/QtTimer.h"
#include "platform/SystemResolver.h"

struct RealPlatform::Adapters {
    QtMessageBox messageBox;
    QtBusyPointer busyPointer;
    LinuxInterfaceList interfaceList;
    SystemResolver resolver;
};

RealPlatform::RealPlatform()
    : m_adapters(std::make_unique<Adapters>())
{
    Adapters& a = *m_adapters;
    m_platform.messageBox = &a.messageBox;
    m_platform.busyPointer = &a.busyPointer;
    m_platform.interfaceList = &a.interfaceList;
    m_platform.resolver = &a.resolver;
    m_platform.createIcmpControl = [&a](QObject* parent) { return new AxIcmp(a.interfaceList, parent); };
    m_platform.createTcpControl = [](QObject* parent) { return new QtTcpControl(parent); };
    m_platform.createTimer = [](QObject* parent) { return new QtTimer(parent); };
}

RealPlatform::~RealPlatform() = default;
