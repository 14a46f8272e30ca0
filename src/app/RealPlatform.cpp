#include "RealPlatform.h"

#include "icmp/AxIcmp.h"
#include "monitor/PathMonitor.h"
#include "platform/IcmpSocket.h"
#include "platform/InterfaceList.h"
#include "platform/ui/QtDialogs.h"
#include "platform/EngineClock.h"
#include "platform/Controls.h"
#include "platform/NameLookup.h"
#include "platform/Resolver.h"
#include "platform/Desktop.h"
#include "platform/TxtLookup.h"

struct RealPlatform::Adapters {
    QtMessageBox messageBox;
    QtBusyPointer busyPointer;
    QtFileDialog fileDialog;
    LinuxInterfaceList interfaceList;
    SystemResolver resolver;
    LinuxIcmpSocketFactory icmpSockets;
    QtEngineClock icmpClock;
    SystemNameLookup icmpNames;
    XdgShell shell;
    XdgHelpViewer helpViewer;
    QtTxtLookup txtLookup;
};

RealPlatform::RealPlatform()
    : m_adapters(std::make_unique<Adapters>())
{
    Adapters& a = *m_adapters;
    m_platform.messageBox = &a.messageBox;
    m_platform.busyPointer = &a.busyPointer;
    m_platform.fileDialog = &a.fileDialog;
    m_platform.interfaceList = &a.interfaceList;
    m_platform.resolver = &a.resolver;
    m_platform.shell = &a.shell;
    m_platform.helpViewer = &a.helpViewer;
    m_platform.txtLookup = &a.txtLookup;
    m_platform.createIcmpControl = [&a](QObject* parent) {
        return new AxIcmp(a.interfaceList, IcmpAdapters{&a.icmpSockets, &a.icmpClock, &a.icmpNames}, parent);
    };
    m_platform.createTcpControl = [](QObject* parent) { return new QtTcpControl(parent); };
    m_platform.createTimer = [](QObject* parent) { return new QtTimer(parent); };
    m_platform.createPathMonitor = [&a](const monitor::Target& target, QObject* parent) {
        return new monitor::PathMonitor(IcmpAdapters{&a.icmpSockets, &a.icmpClock, &a.icmpNames}, target, parent);
    };
}

RealPlatform::~RealPlatform() = default;
