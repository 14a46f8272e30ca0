// The AS on screen: the trace and ping rows' tooltips as answers come, never as markup; the
// monitor's AS column and reports; Whois This Address from the results table and the monitor.
#include "FormHarness.h"
#include "SimulatedPath.h"
#include "app/DisplayText.h"
#include "app/MonitorTable.h"
#include "app/MonitorWindow.h"
#include "app/ResultsTable.h"
#include "monitor/PathMonitor.h"

#include <QAction>
#include <QHelpEvent>
#include <QTemporaryDir>
#include <QToolTip>
#include <QtTest>

namespace {

QAction* whoisAction(const QWidget* view)
{
    const QList<QAction*> menu = view->actions();
    const auto it = std::ranges::find(menu, QStringLiteral("WhoisThisAddress"), &QAction::objectName);
    return it == menu.end() ? nullptr : *it;
}
QString whoisBoxes(const FormHarness& h) { return h.edit("Text1")->text() + ' ' + h.edit("Text2")->text() + ' ' + h.edit("Text3")->text(); }

} // namespace

class AsnWindowTest : public QObject {
    Q_OBJECT
private slots:
    // Catches a row held back for its AS, a tooltip never filled in, a name shown as markup or
    // with its control and bidi characters live. (A second query for one responder: tst_asn's cache.)
    void rowTooltip_data()
    {
        QTest::addColumn<bool>("trace");
        QTest::addColumn<QByteArray>("name");
        QTest::newRow("trace") << true << QByteArray("LAB-NET - Lab network, ZZ");
        QTest::newRow("ping") << false << QByteArray("LAB-NET");
        QTest::newRow("markup") << true << QByteArray("<b>x</b><img src=y>");
        QTest::newRow("controls") << true << QByteArray("A\x1b[31mB\xe2\x80\xae");
    }
    void rowTooltip()
    {
        QFETCH(bool, trace);
        QFETCH(QByteArray, name);
        FormHarness h;
        h.form->show();
        h.openTab(trace ? 1 : 0);
        auto* table = h.find<ResultsTable>("ListView1");
        const auto addRow = [&] { trace ? void(h.icmp->traceData("198.18.2.2", "", "1 ms", "ok", "2")) : emit h.icmp->PingData("198.18.2.2", "", "1 ms", "", 0, 32, 60); };
        addRow();
        QCOMPARE(table->topLevelItem(0)->toolTip(0), QString());
        h.txt.answer(0, QByteArrayList{"64500 | 198.18.2.0/24 | ZZ | lab | 2026-01-01"});
        QCOMPARE(table->topLevelItem(0)->toolTip(3), QStringLiteral("AS64500 (198.18.2.0/24)"));
        h.txt.answer(1, QByteArrayList{"64500 | ZZ | lab | 2026-01-01 | " + name});
        addRow();
        const QString shown = oneLineText(QString::fromUtf8(name));
        for (int row = 0; row < 2; ++row)
            QCOMPARE(table->topLevelItem(row)->toolTip(1), "AS64500 " + shown + " (198.18.2.0/24)");
        const QRect cell = table->visualItemRect(table->topLevelItem(0));
        QHelpEvent help(QEvent::ToolTip, cell.center(), table->viewport()->mapToGlobal(cell.center()));
        QCoreApplication::sendEvent(table->viewport(), &help);
        QVERIFY2(QToolTip::text().contains(shown.toHtmlEscaped()), qPrintable(QToolTip::text()));
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
        QTest::newRow("DNS page") << 2 << "198.18.2.2" << false;
    }
    void whoisThisAddress()
    {
        QFETCH(int, page);
        QFETCH(QString, cell);
        QFETCH(bool, asked);
        FormHarness h;
        h.icmp->traceData(cell, "", "1 ms", "ok", "1");
        auto* table = h.find<ResultsTable>("ListView1");
        table->setCurrentItem(table->topLevelItem(0));
        h.openTab(page);
        QAction* whois = whoisAction(table);
        QVERIFY(whois && whois->isEnabled() == asked);
        whois->trigger();
        QCOMPARE(h.tabs()->currentIndex() == 3 && whoisBoxes(h) == cell + " whois.iana.org 43" && h.tcp->connects == 1, asked);
    }

    // Catches the monitor's AS column, its reports' asn/as_name/prefix or its Whois This Address
    // missing what the lookups found, or a query per hop inside one prefix.
    void monitor()
    {
        packets::World world(QStringLiteral("1 2 3!"));
        world.interfaces.list.push_back(FakeInterfaceList::ethernet(QStringLiteral("eth0"), packets::kHost));
        FormHarness h({.adjust = [&world](Platform& p) {
            p.interfaceList = &world.interfaces;
            p.createPathMonitor = [&world](const monitor::Target& t, QObject* parent) { return new monitor::PathMonitor({&world, &world, &world}, t, parent); };
        }});
        h.form->openMonitor(world.node(3).toString());
        MonitorWindow* window = h.form->monitors().value(0);
        world.advanceMs(2500);
        h.txt.answer(0, QByteArrayList{"64500 | 198.18.0.0/15 | ZZ | lab"});
        h.txt.answer(1, QByteArrayList{"64500 | ZZ | lab | x | LAB-NET"});
        QCOMPARE(h.txt.names(), (QStringList{"1.1.18.198.origin.asn.cymru.com", "AS64500.asn.cymru.com"}));
        auto* table = window->findChild<MonitorTable*>();
        QCOMPARE(table->rowText(2)[MonitorTable::As] + ' ' + table->topLevelItem(1)->toolTip(MonitorTable::As), "AS64500 AS64500 LAB-NET (198.18.0.0/15)");
        QTemporaryDir dir;
        h.fileDialog.answer = dir.filePath("hops.json");
        window->saveReport();
        QFile saved(h.fileDialog.answer);
        const QByteArray json = saved.open(QIODevice::ReadOnly) ? saved.readAll() : QByteArray();
        QVERIFY2(json.contains("\"asn\": 64500") && json.contains("\"as_name\": \"LAB-NET\"") && json.contains("\"prefix\": \"198.18.0.0/15\""), json);
        table->setCurrentItem(table->topLevelItem(1));
        whoisAction(table)->trigger();
        QCOMPARE(whoisBoxes(h), world.node(2).toString() + " whois.iana.org 43");
    }
};

QTEST_MAIN(AsnWindowTest)
#include "tst_asn_window.moc"
