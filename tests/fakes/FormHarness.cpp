#include "FormHarness.h"

FormHarness::FormHarness(bool load, bool connected, Resolver* realResolver_)
    : realResolver(realResolver_)
{
    form = std::make_unique<Form1>(platform());
    if (!connected)
        icmp->localIp = QStringLiteral("127.0.0.1");
    if (load)
        form->Form_Load();
}

Platform FormHarness::platform()
{
    Platform p;
    p.messageBox = &messageBox;
    p.busyPointer = &busyPointer;
    p.interfaceList = &interfaces;
    p.resolver = realResolver ? realResolver : &resolver;
    p.shell = &shell;
    p.helpViewer = &helpViewer;
    p.createIcmpControl = [this](QObject* parent) { return icmp = new FakeIcmpControl(parent); };
    p.createTcpControl = [this](QObject* parent) { return tcp = new FakeTcpControl(parent); };
    p.createTimer = [this](QObject* parent) { return timer = new FakeTimer(parent); };
    return p;
}
