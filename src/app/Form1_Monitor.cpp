// Path monitor windows: opened for a host as typed, from the Ping and Traceroute pages (their
// results' context menu and Ctrl+M) or the command line; closed with the main window.
#include "Form1.h"

#include "MonitorWindow.h"
#include "PageRegistry.h"
#include "ResultsTable.h"
#include "SlashCut.h"
#include "help/HelpPages.h"
#include "monitor/PathMonitor.h"

#include <QAction>
#include <QLineEdit>
#include <QTabWidget>

void Form1::wireMonitor()
{
    // One action serves the table's menu and the window's key, so Ctrl+M is never ambiguous.
    auto* monitorHost = new QAction(tr("&Monitor This Host…"), this);
    monitorHost->setObjectName(QStringLiteral("MonitorThisHost"));
    monitorHost->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_M));
    monitorHost->setShortcutContext(Qt::WindowShortcut);
    connect(monitorHost, &QAction::triggered, this, &Form1::monitorThisHost);
    addAction(monitorHost);
    ListView1->addAction(monitorHost);
    const auto follow = [this, monitorHost](int index) {
        monitorHost->setEnabled(index >= 0 && index < int(pageRegistry().size()) && pageRegistry()[size_t(index)].monitorable);
    };
    connect(SSTab1, &QTabWidget::currentChanged, this, follow);
    follow(SSTab1->currentIndex());
}

void Form1::monitorThisHost()
{
    const int index = SSTab1->currentIndex();
    if (index < 0 || index >= int(pageRegistry().size()) || !pageRegistry()[size_t(index)].monitorable)
        return;
    if (const auto* box = findChild<QLineEdit*>(QLatin1String(pageRegistry()[size_t(index)].hostBox)))
        openMonitor(box->text());
}

void Form1::openMonitor(const QString& host)
{
    if (refusedWithoutConnection())
        return;
    checkHostText(trailingSlashCut(host), m_monitorCheck, [this](const QString& typed, const HostCheck& answer) {
        if (!answer.found || !m_platform.createPathMonitor)
            return;
        monitor::PathMonitor* probes = m_platform.createPathMonitor({typed, answer.address}, nullptr);
        auto* window = new MonitorWindow(probes, *m_platform.messageBox, *m_platform.fileDialog);
        window->setHelp([this, w = QPointer<QWidget>(window)] {
            if (w)
                showHelp(monitorHelpPage(), w);
        });
        window->setOrigins(m_asn);
        window->setWhois([this](const QString& address) {
            openPage(Page::Whois, address, true, QStringLiteral("whois.iana.org"), QStringLiteral("43"));
        });
        m_monitors.removeAll(nullptr);
        m_monitors << window;
        window->show();
    });
}

QList<MonitorWindow*> Form1::monitors() const
{
    QList<MonitorWindow*> open;
    for (const QPointer<MonitorWindow>& window : m_monitors) {
        if (window)
            open << window;
    }
    return open;
}

void Form1::closeMonitors()
{
    // Deleted here, not later: the program may be ending.
    for (MonitorWindow* window : monitors()) {
        window->close();
        delete window;
    }
    m_monitors.clear();
}
