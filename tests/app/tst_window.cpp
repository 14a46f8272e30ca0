// The main window as a user meets it: its pages, the keyboard, start-up and shut-down, and the
// steps every tool shares. What a screen reader reads of it, tests/a11y/a11y_bus.py reads.
#include "FormHarness.h"
#include "app/AccessibleCells.h"
#include "app/Label.h"
#include "app/MultiLineTextBox.h"
#include "app/ResultsTable.h"
#include "app/SlashCut.h"
#include "icmp/AxIcmp.h"

#include <QAccessible>
#include <QSignalSpy>
#include <QTabBar>
#include <QTabWidget>
#include <QtTest>

using Interfaces = std::vector<NetInterface>;
using F = FakeInterfaceList;

namespace {

constexpr quint32 kAddr = 0xC6120002;   // 198.18.0.2
const QString kNotConnected = QStringLiteral("You must connected to the Internet for this function to work properly.");

QString sorted(const QString& words)
{
    QStringList list = words.split(u' ', Qt::SkipEmptyParts);
    return list.sort(), list.join(u' ');
}

// The window's own controls that show, by name, sorted.
QString shownControls(const QWidget& form)
{
    QString names;
    for (const QWidget* w : form.findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
        names += w->isVisible() ? ' ' + w->objectName() : QString();
    return sorted(names);
}

} // namespace

class TestWindow : public QObject {
    Q_OBJECT
private slots:
    // Catches a wrong size or title bar, a control on the wrong page, the table left showing behind
    // the text box (to Tab and screen readers), a label running into its box or a fixed one resizing.
    void windowAndPages()
    {
        FormHarness h({.load = false});
        Form1& form = *h.form;
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        QCOMPARE(form.windowTitle(), QStringLiteral("Pathlark"));
        QCOMPARE(form.size(), QSize(599, 351));
        QCOMPARE(form.minimumSize(), form.maximumSize());
        QVERIFY(!(form.windowFlags() & Qt::WindowMaximizeButtonHint) && (form.windowFlags() & Qt::WindowMinimizeButtonHint));
        QCOMPARE(form.windowIcon().pixmap(32, 32).size(), QSize(32, 32));

        const QStringList shown{"Label1 Label2 cmdCancel cmdPing lblCaption txtLocal txtRemote",
                                "Label3 Label4 cmdCancelTrace cmdTraceroute lblCaptionTrace txtLocalTrace txtRemoteTrace",
                                "DNSHost DoLookup Label5 Label6 lblCaptionDNS txtLocalDNS",
                                "Command1 Label7 Label8 Label9 Text1 Text2 Text3"};
        for (int page = 3; page >= 0; --page) {
            h.openTab(page);
            QCOMPARE(shownControls(form), sorted("HostResponse SSTab1 " + shown[page]));
        }
        const QPoint middle = h.textBox()->geometry().center();
        QVERIFY(h.textBox()->isAncestorOf(form.childAt(middle)));
        h.textBox()->hide();
        QVERIFY(h.find("ListView1")->isVisible() && h.find("ListView1")->isAncestorOf(form.childAt(middle)));

        auto* remote = h.find<Label>("Label1");
        const QSize before = remote->size();
        remote->setCaption(QStringLiteral("Remote Host: https://with.a.longer.prefix/"));
        QVERIFY(remote->width() > before.width() && remote->pos() == QPoint(62, 61));
        for (const char* name : {"Label2", "Label4", "Label5", "Label3", "Label6"})
            QVERIFY2(h.find<Label>(name)->geometry().right() < h.find<Label>(name)->buddy()->x(), name);
        auto* caption = h.find<Label>("lblCaption");
        const QSize fixed = caption->size();
        caption->setCaption(QStringLiteral("Pinging a-very-long-host-name.example with 32 bytes of data"));
        QCOMPARE(caption->size(), fixed);
    }

    // Catches a default button not following the page, Enter pressing the wrong or a disabled button,
    // Space no longer clicking (the window previews key releases), Tab out of the page's order.
    void pagesAndKeys()
    {
        FormHarness h;
        Form1& form = *h.form;
        form.showCentred();
        QVERIFY(QTest::qWaitForWindowActive(&form));
        QCOMPARE(form.shared().CurrentTab, QString());
        QSignalSpy ping(h.button("cmdPing"), &QPushButton::clicked);
        const auto press = [](QWidget* w, Qt::Key key = Qt::Key_Return) { w->setFocus(), QTest::keyClick(w, key); };
        press(h.edit("txtRemote"));   // no page switch yet: no default button
        for (Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space})
            press(h.button("cmdPing"), key);
        QCOMPARE(ping.count(), 3);

        const std::tuple<int, const char*, const char*> pages[] = {
            {1, "Traceroute", "cmdTraceroute"}, {2, "DNS Lookup", "DoLookup"}, {3, "Whois", "Command1"}, {0, "Ping", "cmdPing"}};
        for (const auto& [page, word, name] : pages) {
            h.openTab(page);
            QCOMPARE(form.shared().CurrentTab, QString::fromLatin1(word));
            QVERIFY(h.button(name)->isDefault() && std::ranges::count_if(form.findChildren<QPushButton*>(), &QPushButton::isDefault) == 1);
        }
        h.tabs()->setTabText(1, QStringLiteral("   traceroute   "));   // no tool's caption: the default stays
        h.openTab(1);
        QCOMPARE(form.shared().CurrentTab + ' ' + form.defaultButton()->objectName(), QStringLiteral("traceroute cmdPing"));

        const auto walk = [&](int steps) {
            QStringList names;
            for (int i = 0; i < steps; ++i) {
                QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
                QWidget* f = QApplication::focusWidget();
                names << (f == h.tabs()->tabBar() ? QStringLiteral("SSTab1") : f->objectName());
            }
            return names.join(u' ');
        };
        h.openTab(3);
        h.button("Command1")->setFocus();
        QCOMPARE(walk(6), QStringLiteral("Text3 Text2 Text1 SSTab1 ListView1 Command1"));
        h.openTab(0);
        h.button("cmdPing")->setFocus();   // Cancel is disabled and skipped; labels never take the focus
        QCOMPARE(walk(5), QStringLiteral("SSTab1 txtLocal txtRemote ListView1 cmdPing"));
        h.openTab(3);
        QSignalSpy query(h.button("Command1"), &QPushButton::clicked);
        press(h.edit("Text1"));
        h.button("Command1")->setEnabled(false);
        press(h.edit("Text1"));
        QCOMPARE(query.count(), 1);
    }

    // Catches a machine judged connected or not for the wrong reason (True stored as anything but
    // -1), boxes filled wrongly, the warning wrong or repeated, start-up crashing on an odd machine.
    void startUp()
    {
        // The machine, its host name, the fake control's address (none: the real control), connected.
        const std::tuple<Interfaces, QString, QString, bool> cases[] = {
            {{F::loopback(), F::ethernet("eth0", kAddr)}, "alpha", "", true},
            {{F::dialUp("ppp0", kAddr)}, "alpha", "127.0.0.1", true},
            {{F::dialUp("ppp0", kAddr, false), F::dialUp("ppp1", std::nullopt)}, "alpha", "127.0.0.1", false},
            {{}, "alpha", "", false},
            {{{"eth0", IFF_UP, std::nullopt, {}}}, "alpha", "", false},
            {{F::ethernet("eth0", kAddr)}, QString(4096, u'h'), "", true}};
        for (const auto& [interfaces, hostName, controlIp, connected] : cases) {
            FormHarness h({.load = false, .adjust = [&](Platform& p) {
                if (controlIp.isEmpty())   // start-up only reads the local address: no sockets needed
                    p.createIcmpControl = [&h](QObject* parent) { return new AxIcmp(h.interfaces, IcmpAdapters{}, parent); };
            }});
            h.interfaces.list = interfaces;
            h.interfaces.host = hostName;
            if (h.icmp)
                h.icmp->localIp = controlIp;
            h.form->Form_Load();
            QCOMPARE(h.form->shared().IsConnected, connected ? kTrue16 : kFalse16);
            QCOMPARE(h.textBox()->isHidden(), connected);
            const QString box = h.icmp ? "alpha (" + controlIp + ")" : hostName + " (198.18.0.2)";
            for (const char* name : {"txtLocal", "txtLocalTrace", "txtLocalDNS"})
                QCOMPARE(h.edit(name)->text(), connected ? box : QString());
            QCOMPARE(h.messages(), connected ? QString() : "Pathlark requires an Internet connection to be fully functional.");
            for (const auto& shown : h.messageBox.shown)
                QVERIFY(shown.flags == MessageBox::kExclamation && shown.title == QLatin1String("Pathlark"));
        }
    }

    // Catches a slash cut that misses, cuts too much or reaches further back than the last two
    // characters; each page's use of it is checked with the page.
    void slashCut()
    {
        const std::pair<const char*, const char*> cuts[] = {{"abc/", "abc"}, {"ab/c", "ab"}, {"a/bc", "a/bc"}, {"abc//", "abc"},
                                                            {"", ""}, {"/", "/"}, {"a", "a"}, {"//", ""}, {"münchen.de/", "münchen.de"}};
        for (const auto& [typed, cut] : cuts)
            QCOMPARE(trailingSlashCut(QString::fromUtf8(typed)), QString::fromUtf8(cut));
    }

    // Catches a tool that runs, checks a host or touches its box without a connection, or says so
    // other than once.
    void toolsNeedAConnection()
    {
        FormHarness h({.connected = false});
        const std::pair<const char*, const char*> tools[] = {
            {"txtRemote", "cmdPing"}, {"txtRemoteTrace", "cmdTraceroute"}, {"DNSHost", "DoLookup"}, {"Text1", "Command1"}};
        for (int page = 0; page < 4; ++page) {
            h.messageBox.shown.clear();
            h.openTab(page);
            h.edit(tools[page].first)->setText(QStringLiteral("a.test/"));
            h.button(tools[page].second)->click();
            QCOMPARE(h.messages() + h.edit(tools[page].first)->text(), kNotConnected + "a.test/");
        }
        QVERIFY(h.icmp->pings + h.icmp->traces + h.tcp->connects == 0 && h.resolver.checked.isEmpty());
        QVERIFY(h.resolver.requests.empty() && h.resolver.startups == 0 && h.button("Command1")->isEnabled());
    }

    // Catches shut-down that leaves a whois connection open, keeps the help object, or asks first.
    void shutDown()
    {
        for (const qint16 state : {TcpControl::kConnected, TcpControl::kConnecting, TcpControl::kClosed}) {
            FormHarness h;
            h.form->show();
            h.helpViewer.installed = true;
            QTest::keyClick(h.button("cmdPing"), Qt::Key_F1);
            QVERIFY(h.form->shared().ContextHelp);
            const size_t messages = h.messageBox.shown.size();
            h.tcp->state = state;
            QVERIFY(h.form->close());
            QVERIFY(h.tcp->closes == (state ? 1 : 0) && !h.form->shared().ContextHelp && h.messageBox.shown.size() == messages);
        }
    }

    // Catches the accessible cells of rows that are gone kept for ever: a screen reader reading a
    // table that is rewritten (each ping, each trace, a monitor every second) made the program grow.
    void accessibleCellsReleased()
    {
        QAccessible::setActive(true);
        for (const bool cleared : {true, false}) {   // the table emptied at once, or its rows taken one by one
            ResultsTable table(nullptr);
            table.setColumnCount(6);
            table.show();
            QAccessibleInterface* reader = QAccessible::queryAccessibleInterface(&table);
            for (int round = 0; round < 40; ++round) {
                while (!cleared && table.topLevelItemCount())
                    delete table.takeTopLevelItem(0);
                cleared ? table.clear() : void();
                for (int row = 0; row < 5; ++row)
                    table.addRow(QStringLiteral("--"), {QStringLiteral("127.0.0.1"), {}, QStringLiteral("0.1 ms")});
                QCoreApplication::processEvents();
                for (int i = 0; i < reader->childCount(); ++i)   // the reader reads every cell and header
                    QVERIFY(!reader->child(i)->text(QAccessible::Name).isNull() || i >= 6);
            }
            QVERIFY(accessibleCellCount(&table) >= reader->childCount());
            QVERIFY2(accessibleCellCount(&table) <= 3 * reader->childCount(), qPrintable(QString::number(accessibleCellCount(&table))));
        }
        QAccessible::setActive(false);
    }
};

QTEST_MAIN(TestWindow)
#include "tst_window.moc"
