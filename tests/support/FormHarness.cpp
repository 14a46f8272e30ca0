#include "FormHarness.h"

#include <QTabBar>
#include <QTest>

FormHarness::FormHarness(Options options)
{
    Platform p{&messageBox, &busyPointer, &fileDialog, &interfaces, &resolver, &shell, &helpViewer,
               [this](QObject* parent) { return icmp = new FakeIcmpControl(parent); },
               [this](QObject* parent) { return tcp = new FakeTcpControl(parent); },
               [this](QObject* parent) { return timer = new FakeTimer(parent); }};
    p.txtLookup = &txt;
    if (options.adjust)
        options.adjust(p);
    form = std::make_unique<Form1>(p);
    if (!options.connected && icmp)
        icmp->localIp = QStringLiteral("127.0.0.1");
    if (options.load)
        form->Form_Load();
}

void FormHarness::openTab(int page) const
{
    QTabBar* bar = tabs()->tabBar();
    QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(page).center());
    if (tabs()->currentIndex() != page)   // the window is not shown: no geometry to click
        tabs()->setCurrentIndex(page);
}

QString FormHarness::messages() const
{
    QStringList prompts;
    for (const auto& m : messageBox.shown)
        prompts << m.prompt;
    return prompts.join(u'+');
}
