// The Ping and Traceroute pages driven as a user would, against a fake ICMP control.
#include "FormHarness.h"
#include "app/Label.h"
#include "app/MultiLineTextBox.h"
#include "app/ResultsTable.h"

#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

namespace {

const QString kNotConnected = QStringLiteral("You must connected to the Internet for this function to work properly.");

// What the user sees: Ping, Trace Route and the trace page's Cancel enabled (P T C) or not (-),
// the list's last column header, "+text" when the text box hides the list; then the rows.
QStringList view(const Form1& f)
{
    const auto on = [](const QWidget* button, const char* letter) { return button->isEnabled() ? letter : "-"; };
    QStringList v{QString(on(f.cmdPing, "P")) + on(f.cmdTraceroute, "T") + on(f.cmdCancelTrace, "C") + ' '
                  + f.ListView1->columnHeader("TTL") + (f.HostResponse->isHidden() ? "" : " +text")};
    for (int i = 0; i < f.ListView1->topLevelItemCount(); ++i)
        v << f.ListView1->row(i).join(u'|');
    return v;
}

} // namespace

class TestIcmpPage : public QObject {
    Q_OBJECT
private slots:
    // Fault caught: a start that misses a step (copy to the trace page, caption, header, list
    // to the front and emptied); rows not following the tables of the ping and trace events;
    // buttons out of step with the state table (idle, pinging, tracing, ended); Cancel not
    // reaching the control or dropping the hop that saw it; a stale stop request ending the next trace.
    void pingThenTrace()
    {
        FormHarness h;
        Form1& f = *h.form;
        f.ListView1->addRow(QStringLiteral("old"), {});
        f.ListView1->setColumnHeader(QStringLiteral("TTL"), QStringLiteral("Return Code"));
        f.HostResponse->show();
        f.txtRemote->setText(QStringLiteral("198.18.5.2"));
        f.cmdPing->click();
        QCOMPARE(h.icmp->hostAddress, QStringLiteral("198.18.5.2"));
        QCOMPARE(f.txtRemoteTrace->text(), QStringLiteral("198.18.5.2"));
        QCOMPARE(f.lblCaption->caption(), QStringLiteral("Pinging 198.18.5.2 with 32 bytes of data"));
        QCOMPARE(view(f), QStringList{"PT- TTL"});
        QVERIFY(!f.cmdCancel->isEnabled());
        emit h.icmp->PingData("198.18.5.2", "target.test", "0.04 ms", "Success", 0, 32, 61);
        emit h.icmp->PingData("198.18.5.2", "", "12.3 ms", "Success", 0, 32, 255);
        emit h.icmp->Error("Request timed out", kTrue16);
        emit h.icmp->PingData("2001:db8:1234:5678:9abc:def0:1234:5678", "", "1.00 ms", "Success", 0, 32, 64);
        emit h.icmp->SequenceComplete();
        // An address wider than its column is cut in the middle on screen, whole in its tooltip.
        QCOMPARE(f.ListView1->textElideMode(), Qt::ElideMiddle);
        QCOMPARE(f.ListView1->topLevelItem(3)->toolTip(1), QStringLiteral("2001:db8:1234:5678:9abc:def0:1234:5678"));
        delete f.ListView1->topLevelItem(3);
        QCOMPARE(view(f), (QStringList{"PT- TTL", "--|198.18.5.2|target.test|0.04 ms|32|61",
                                       "--|198.18.5.2||12.3 ms|32|255", "Error|Request timed out||||",
                                       "!|Sequence Complete||||"}));

        f.HostResponse->show();
        f.cmdTraceroute->click();
        QCOMPARE(view(f), QStringList{"--C Return Code"});
        QCOMPARE(f.lblCaptionTrace->caption(), QStringLiteral("Tracing route to 198.18.5.2"));
        QCOMPARE(h.icmp->pings + h.icmp->traces, 2);
        QCOMPARE(h.icmp->raiseTraceData("198.18.1.1", "r1.test", "0.10 ms", "TTL expired in transit", "1"), kFalse16);
        f.cmdCancelTrace->click();
        QCOMPARE(h.icmp->raiseTraceData("*", "", "*", "Request timed out", "2"), kTrue16);
        QCOMPARE(view(f).first(), QStringLiteral("--C Return Code"));
        emit h.icmp->SequenceComplete();
        QCOMPARE(view(f), (QStringList{"PTC Return Code", "1|198.18.1.1|r1.test|0.10 ms|0|TTL expired in transit",
                                       "2|*|(No DNS Resolution)|*|0|Request timed out", "!|Sequence Complete||||"}));
        f.cmdTraceroute->click();   // the request left over from the last trace is cleared
        QCOMPARE(h.icmp->raiseTraceData("198.18.5.2", "", "148 ms", "Success", "1"), kFalse16);
        f.cmdCancel_Click();        // the ping page's Cancel asks the same
        QCOMPARE(h.icmp->raiseTraceData("198.18.5.2", "", "148 ms", "Success", "2"), kTrue16);
    }

    // Fault caught: the slash cut applied wrongly or before the connection test; short texts
    // crashing or skipping the host check; a tool running without a connection or for a host
    // the resolver refuses; a wrong message; a page left in the wrong state (a trace page stuck
    // busy, the list not brought to the front, a stale stop request kept).
    void start_data()
    {
        QTest::addColumn<bool>("trace");
        QTest::addColumn<bool>("connected");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("used");   // the host box afterwards
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("shown");
        const QString off = kNotConnected, invalid = QStringLiteral("bad is an invaild domain name.");
        QTest::newRow("abc/") << false << true << "abc/" << "abc" << "" << "PT- TTL";
        QTest::newRow("ab/c") << false << true << "ab/c" << "ab" << "" << "PT- TTL";
        QTest::newRow("a/bc") << false << true << "a/bc" << "a/bc" << "" << "PT- TTL";
        QTest::newRow("abc//") << false << true << "abc//" << "abc" << "" << "PT- TTL";
        QTest::newRow("empty") << false << true << "" << "" << "" << "PT- TTL";
        QTest::newRow("one slash") << false << true << "/" << "/" << "" << "PT- TTL";
        QTest::newRow("trace, abc//") << true << true << "abc//" << "abc" << "" << "--C Return Code";
        QTest::newRow("trace, one character") << true << true << "a" << "a" << "" << "--C Return Code";
        QTest::newRow("offline") << false << false << "bad/" << "bad/" << off << "PT- TTL/kept|||||";
        QTest::newRow("trace offline") << true << false << "bad/" << "bad/" << off << "PT- Return Code +text/kept|||||";
        QTest::newRow("unknown") << false << true << "bad/" << "bad" << invalid << "PT- TTL/kept|||||";
        QTest::newRow("trace unknown") << true << true << "bad/" << "bad" << invalid << "PTC Return Code/kept|||||";
    }
    void start()
    {
        QFETCH(bool, trace);
        QFETCH(bool, connected);
        QFETCH(QString, used);
        QFETCH(QString, message);
        FormHarness h({.connected = connected});
        Form1& f = *h.form;
        h.resolver.unknown << "bad";
        h.messageBox.shown.clear();   // start-up's own warning
        f.ListView1->addRow(QStringLiteral("kept"), {});
        f.ListView1->setColumnHeader(QStringLiteral("TTL"), QStringLiteral("Return Code"));
        f.HostResponse->show();
        f.CancelRequested = kTrue16;
        QLineEdit* box = trace ? f.txtRemoteTrace : f.txtRemote;
        QFETCH(QString, typed);
        box->setText(typed);
        (trace ? f.cmdTraceroute : f.cmdPing)->click();
        QCOMPARE(h.resolver.checked, connected ? QList<QByteArray>{used.toUtf8()} : QList<QByteArray>{});
        QCOMPARE(box->text(), used);
        QCOMPARE(h.messageBox.shown.empty() ? QString() : h.messageBox.shown.back().prompt, message);
        QTEST(view(f).join(u'/'), "shown");
        QCOMPARE(h.icmp->pings + h.icmp->traces, message.isEmpty() ? 1 : 0);
        QVERIFY(!(trace ? f.txtRemote : f.txtRemoteTrace)->text().startsWith("bad"));   // nothing copied
        QCOMPARE(f.CancelRequested, trace ? kFalse16 : kTrue16);   // cleared before the connection test
    }
};

QTEST_MAIN(TestIcmpPage)
#include "tst_icmp_page.moc"
