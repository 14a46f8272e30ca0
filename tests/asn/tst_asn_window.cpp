// The AS on screen: the trace and ping rows' tooltips as answers come, never as markup; the
// monitor's AS column and reports; Whois This Address from the results table and the monitor.
#include "FormHarness.h"
#include "SimulatedPath.h"
#include "app/MonitorTable.h"
#include "app/DisplayText.h"
#include "app/MonitorWindow.h"
#include "app/ResultsTable.h"
#include "asn/AsnLookup.h"
#include "monitor/PathMonitor.h"

#include <QAction>
#include <QClipboard>
#include <QGuiApplication>
#include <QHelpEvent>
#include <QTemporaryDir>
#include <QToolTip>
#include <QtTest>

namespace {

const QByteArray kOrigin = "64500 | 198.18.2.0/24 | ZZ | lab | 2026-01-01";
QByteArray nameRecord(const QByteArray& name) { return "64500 | ZZ | lab | 2026-01-01 | " + name; }

QString shownName(const QByteArray& name) { return oneLineText(QString::fromUtf8(name)); }
QAction* whoisAction(const QWidget* view)
{
    const QList<QAction*> menu = view->actions();
    const auto it = std::ranges::find(menu, QStringLiteral("WhoisThisAddress"), &QAction::objectName);
    return it == menu.end() ? nullptr : *it;
}

} // namespace

class AsnWindowTest : public QObject {
    Q_OBJECT
private slots:
    // Catches a row held back for its AS, a tooltip never filled in, a name shown as markup or
    // with its control and bidi characters live, or the six columns changed.
    void rowTooltip_data()
    {
        QTest::addColumn<bool>("trace");
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QString>("tip");
        QTest::newRow("trace") << true << QByteArray("LAB-NET - Lab network, ZZ") << "AS64500 LAB-NET - Lab network, ZZ (198.18.2.0/24)";
        QTest::newRow("ping") << false << QByteArray("LAB-NET") << "AS64500 LAB-NET (198.18.2.0/24)";
        QTest::newRow("markup") << true << QByteArray("<b>x</b><img src=y>") << "AS64500 <b>x</b><img src=y> (198.18.2.0/24)";
        QTest::newRow("controls") << true << QByteArray("A\x1b[31mB\xe2\x80\xae") << "AS64500 " + shownName("A\x1b[31mB\xe2\x80\xae") + " (198.18.2.0/24)";
    }
    void rowTooltip()
    {
        QFETCH(bool, trace);
        QFETCH(QByteArray, name);
        QFETCH(QString, tip);
        FormHarness h;
        h.form->show();
        h.openTab(trace ? 1 : 0);
        auto* table = h.find<ResultsTable>("ListView1");
        const auto addRow = [&] {
            trace ? void(h.icmp->traceData("198.18.2.2", "", "1 ms", "ok", "2"))
                  : emit h.icmp->PingData("198.18.2.2", "", "1 ms", "", 0, 32, 60);
        };
        addRow();
        QCOMPARE(table->topLevelItemCount(), 1);
        QCOMPARE(table->topLevelItem(0)->toolTip(0), QString());
        h.txt.answer(0, QByteArrayList{kOrigin});
        QCOMPARE(table->topLevelItem(0)->toolTip(3), QStringLiteral("AS64500 (198.18.2.0/24)"));
        h.txt.answer(1, QByteArrayList{nameRecord(name)});
        addRow();
        QCOMPARE(h.txt.names(), (QStringList{"2.2.18.198.origin.asn.cymru.com", "AS64500.asn.cymru.com"}));
        for (int row = 0; row < 2; ++row) {
            QCOMPARE(table->topLevelItem(row)->toolTip(1), tip);
            QCOMPARE(table->row(row).size(), 6);
        }
        QVERIFY(!table->topLevelItem(0)->toolTip(1).contains(QChar(0x1b)) && !table->topLevelItem(0)->toolTip(1).contains(QChar(0x202e)));
        // What the tooltip shows: the name as typed, escaped, never rendered.
        const QRect cell = table->visualItemRect(table->topLevelItem(0));
        QHelpEvent help(QEvent::ToolTip, cell.center(), table->viewport()->mapToGlobal(cell.center()));
        QCoreApplication::sendEvent(table->viewport(), &help);
        QVERIFY2(QToolTip::text().contains(shownName(name).toHtmlEscaped()), qPrintable(QToolTip::text()));
    }

    // Catches Whois This Address offered for a row without an address or on another page, or
    // asking anything but the root server for the row's address.
    void whoisThisAddress_data()
    {
        QTest::addColumn<int>("page");
        QTest::addColumn<QString>("cell");
        QTest::addColumn<bool>("asked");
        QTest::newRow("trace row") << 1 << "198.18.2.2" << true;
        QTest::newRow("ping row, IPv6") << 0 << "2001:db8::5" << true;
        QTest::newRow("end row") << 1 << "Sequence Complete" << false;
        QTest::newRow("silent hop") << 1 << "*" << false;
        QTest::newRow("DNS page") << 2 << "198.18.2.2" << false;
    }
    void whoisThisAddress()
    {
        QFETCH(int, page);
        QFETCH(QString, cell);
        QFETCH(bool, asked);
        FormHarness h;
        h.openTab(page == 2 ? 1 : page);
        h.icmp->traceData(cell, "", "1 ms", "ok", "1");
        auto* table = h.find<ResultsTable>("ListView1");
        table->setCurrentItem(table->topLevelItem(0));
        h.openTab(page);
        QAction* whois = whoisAction(table);
        QVERIFY(whois);
        QCOMPARE(whois->isEnabled(), asked);
        whois->trigger();
        QCOMPARE(h.tabs()->currentIndex(), asked ? 3 : page);
        if (asked) {
            QCOMPARE(h.edit("Text1")->text() + ' ' + h.edit("Text2")->text() + ' ' + h.edit("Text3")->text(),
                     cell + " whois.iana.org 43");
            QCOMPARE(h.tcp->connects, 1);
        }
    }

    // Catches the monitor's AS column, its reports' asn/as_name/prefix or its Whois This Address
    // missing what the lookups found.
    void monitor()
    {
        packets::World world(QStringLiteral("1 2 3!"));
        world.interfaces.list.push_back(FakeInterfaceList::ethernet(QStringLiteral("eth0"), packets::kHost));
        FormHarness h({.adjust = [&world](Platform& p) {
            p.interfaceList = &world.interfaces;
            p.createPathMonitor = [&world](const monitor::Target& t, QObject* parent) {
                return new monitor::PathMonitor({&world, &world, &world}, t, parent);
            };
        }});
        h.form->openMonitor(world.node(3).toString());
        MonitorWindow* window = h.form->monitors().value(0);
        QVERIFY(window);
        world.advanceMs(2500);
        QTRY_VERIFY(h.txt.asked.size() >= 1);
        QCOMPARE(h.txt.asked[0].name, QStringLiteral("1.1.18.198.origin.asn.cymru.com"));
        h.txt.answer(0, QByteArrayList{"64500 | 198.18.0.0/15 | ZZ | lab"});
        h.txt.answer(1, QByteArrayList{nameRecord("LAB-NET")});
        QCOMPARE(h.txt.asked.size(), size_t(2));   // one prefix holds every hop
        const auto* table = window->findChild<MonitorTable*>();
        QCOMPARE(table->rowText(2)[MonitorTable::As], QStringLiteral("AS64500"));
        QCOMPARE(table->topLevelItem(1)->toolTip(MonitorTable::As), QStringLiteral("AS64500 LAB-NET (198.18.0.0/15)"));
        window->copyReport();
        QVERIFY(QGuiApplication::clipboard()->text().contains("AS64500"));
        QTemporaryDir dir;
        h.fileDialog.answer = dir.filePath("hops.json");
        window->saveReport();
        QFile saved(h.fileDialog.answer);
        QVERIFY(saved.open(QIODevice::ReadOnly));
        const QByteArray json = saved.readAll();
        QVERIFY2(json.contains("\"asn\": 64500") && json.contains("\"as_name\": \"LAB-NET\"") && json.contains("\"prefix\": \"198.18.0.0/15\""), json);

        const_cast<MonitorTable*>(table)->setCurrentItem(table->topLevelItem(1));
        whoisAction(table)->trigger();
        QCOMPARE(h.edit("Text1")->text() + ' ' + h.edit("Text2")->text(), world.node(2).toString() + " whois.iana.org");
        window->close();
    }
};

QTEST_MAIN(AsnWindowTest)
#include "tst_asn_window.moc"
