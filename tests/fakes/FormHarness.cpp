#include "FormHarness.h"

#include "app/MultiLineTextBox.h"

FormHarness::FormHarness(Options options)
{
    Platform p = platform();
    if (options.adjust)
        options.adjust(p);
    form = std::make_unique<Form1>(p);
    if (!options.connected && icmp)
        icmp->localIp = QStringLiteral("127.0.0.1");
    if (options.load)
        form->Form_Load();
}

MultiLineTextBox* FormHarness::textBox(const char* name) const
{
    return find<MultiLineTextBox>(name);
}

Platform FormHarness::platform()
{
    Platform p;
    p.messageBox = &messageBox;
    p.busyPointer = &busyPointer;
    p.fileDialog = &fileDialog;
    p.interfaceList = &interfaces;
    p.resolver = &resolver;
    p.shell = &shell;
    p.helpViewer = &helpViewer;
    p.createIcmpControl = [this](QObject* parent) { return icmp = new FakeIcmpControl(parent); };
    p.createTcpControl = [this](QObject* parent) { return tcp = new FakeTcpControl(parent); };
    p.createTimer = [this](QObject* parent) { return timer = new FakeTimer(parent); };
    return p;
}
