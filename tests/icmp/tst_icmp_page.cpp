// The Ping and Traceroute pages driven as a user would, against a fake ICMP control.
#include "FormHarness.h"
#include "app/Label.h"
#include "app/MultiLineTextBox.h"
#include "app/ResultsTable.h"

#include <QtTest>

namespace {

// What the user sees: Ping, Trace Route and the trace page's Cancel enabled (P T C) or not (-),
// the list's last column header, "+text" when the text box hides the list; then the rows.
QStringList view(const FormHarness& h)
{
    const auto on = [&h](const char* button, const char* letter) { return h.button(button)->isEnabled() ? letter : "-"; };
    auto* table = h.find<ResultsTable>("ListView1");
    QStringList v{QString(on("cmdPing", "P")) + on("cmdTraceroute", "T") + on("cmdCancelTrace", "C") + ' '
                  + table->columnHeader("TTL") + (h.textBox()->isHidden() ? "" : " +text")};
    for (int i = 0; i < table->topLevelItemCount(); ++i)
        v << table->row(i).join(u'|');
    return v;
}

} // namespace

class TestIcmpPage : public QObject {
    Q_OBJECT
private slots:
    // Fault caught: a start missing a step; rows not following the events; buttons out of step with
    // the run; Cancel not reaching the control; a stale stop request ending the next trace.
    void pingThenTrace()
    {
        FormHarness h;
        auto* table = h.find<ResultsTable>("ListView1");
        table->addRow(QStringLiteral("old"), {});
        table->setColumnHeader(QStringLiteral("TTL"), QStringLiteral("Return Code"));
        h.textBox()->show();
        h.edit("txtRemote")->setText(QStringLiteral("198.18.5.2"));
        h.button("cmdPing")->click();
        QCOMPARE(h.icmp->hostAddress + ' ' + h.edit("txtRemoteTrace")->text(), QStringLiteral("198.18.5.2 198.18.5.2"));
        QCOMPARE(h.find<Label>("lblCaption")->caption(), QStringLiteral("Pinging 198.18.5.2 with 32 bytes of data"));
        QCOMPARE(view(h), QStringList{"PT- TTL"});
        QVERIFY(!h.button("cmdCancel")->isEnabled());
        emit h.icmp->PingData("198.18.5.2", "target.test", "0.04 ms", "Success", 0, 32, 61);
        emit h.icmp->PingData("198.18.5.2", "", "12.3 ms", "Success", 0, 32, 255);
        emit h.icmp->Error("Request timed out", kTrue16);
        emit h.icmp->SequenceComplete();
        QCOMPARE(view(h), (QStringList{"PT- TTL", "--|198.18.5.2|target.test|0.04 ms|32|61",
                                       "--|198.18.5.2||12.3 ms|32|255", "Error|Request timed out||||",
                                       "!|Sequence Complete||||"}));

        h.textBox()->show();
        h.button("cmdTraceroute")->click();
        QCOMPARE(view(h), QStringList{"--C Return Code"});
        QCOMPARE(h.find<Label>("lblCaptionTrace")->caption(), QStringLiteral("Tracing route to 198.18.5.2"));
        QCOMPARE(h.icmp->pings + h.icmp->traces, 2);
        QCOMPARE(h.icmp->traceData("198.18.1.1", "r1.test", "0.10 ms", "TTL expired in transit", "1"), kFalse16);
        h.button("cmdCancelTrace")->click();
        QCOMPARE(h.icmp->traceData("*", "", "*", "Request timed out", "2"), kTrue16);
        QCOMPARE(view(h).first(), QStringLiteral("--C Return Code"));
        emit h.icmp->SequenceComplete();
        QCOMPARE(view(h), (QStringList{"PTC Return Code", "1|198.18.1.1|r1.test|0.10 ms|0|TTL expired in transit",
                                       "2|*|(No DNS Resolution)|*|0|Request timed out", "!|Sequence Complete||||"}));
        h.button("cmdTraceroute")->click();   // the request left over from the last trace is cleared
        QCOMPARE(h.icmp->traceData("198.18.5.2", "", "148 ms", "Success", "1"), kFalse16);
        h.button("cmdCancel")->setEnabled(true);
        h.button("cmdCancel")->click();       // the ping page's Cancel asks the same
        QCOMPARE(h.icmp->traceData("198.18.5.2", "", "148 ms", "Success", "2"), kTrue16);
    }

    // Fault caught: the slash cut not applied (the trace page's: tst_hostinput); the host check skipped; a tool
    // running for a host the resolver refuses, or leaving the page busy; a refused host copied to the other page.
    void start()
    {
        const QString invalid = QStringLiteral("bad is an invaild domain name.");
        // Trace or ping, the text typed, the host box afterwards, the message, what the page shows.
        const std::tuple<bool, QString, QString, QString, QString> cases[] = {
            {false, "abc//", "abc", "", "PT- TTL"}, {false, "", "", "", "PT- TTL"},
            {false, "bad/", "bad", invalid, "PT- TTL/kept|||||"}, {true, "bad/", "bad", invalid, "PTC Return Code/kept|||||"}};
        for (const auto& [trace, typed, used, message, shown] : cases) {
            FormHarness h;
            h.resolver.unknown << "bad";
            h.find<ResultsTable>("ListView1")->addRow(QStringLiteral("kept"), {});
            h.find<ResultsTable>("ListView1")->setColumnHeader(QStringLiteral("TTL"), QStringLiteral("Return Code"));
            h.textBox()->show();
            QLineEdit* box = h.edit(trace ? "txtRemoteTrace" : "txtRemote");
            box->setText(typed);
            h.button(trace ? "cmdTraceroute" : "cmdPing")->click();
            QCOMPARE(h.resolver.checked, QList<QByteArray>{used.toUtf8()});
            QCOMPARE(box->text() + '|' + h.messages(), used + '|' + message);
            QCOMPARE(view(h).join(u'/'), shown);
            QCOMPARE(h.icmp->pings + h.icmp->traces, message.isEmpty() ? 1 : 0);
            QVERIFY(!h.edit(trace ? "txtRemote" : "txtRemoteTrace")->text().startsWith("bad"));
        }
    }
};

QTEST_MAIN(TestIcmpPage)
#include "tst_icmp_page.moc"
