// Page switches and the Enter key: which page the program thinks is in front, and which button Enter presses.
#include "FormHarness.h"

#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QtTest>

class TestPageSwitch : public QObject {
    Q_OBJECT

    static QList<QPushButton*> defaults(Form1& form)
    {
        QList<QPushButton*> result;
        for (QPushButton* b : form.findChildren<QPushButton*>()) {
            if (b->isDefault())
                result << b;
        }
        return result;
    }

private slots:
    // CurrentTab carrying the padding blanks, or the default button not following the page.
    void switchRecordsTrimmedCaptionAndDefault()
    {
        FormHarness h;
        Form1& form = *h.form;
        QCOMPARE(form.module.CurrentTab, QString());
        QCOMPARE(form.defaultButton(), nullptr);
        QVERIFY(defaults(form).isEmpty());

        const struct {
            int page;
            const char* word;
            QPushButton* button;
        } pages[] = {{1, "Traceroute", form.cmdTraceroute}, {2, "DNS Lookup", form.DoLookup},
                     {3, "Whois", form.Command1}, {0, "Ping", form.cmdPing}, {3, "Whois", form.Command1}};
        for (const auto& p : pages) {
            form.SSTab1->setCurrentIndex(p.page);
            QCOMPARE(form.module.CurrentTab, QString::fromLatin1(p.word));
            QCOMPARE(form.defaultButton(), p.button);
            QCOMPARE(defaults(form), QList<QPushButton*>{p.button});
        }
    }

    // Re-running the handler for the same page must change nothing: no focus, text or enabled state.
    void switchIsIdempotentAndTouchesNothingElse()
    {
        FormHarness h;
        Form1& form = *h.form;
        form.SSTab1->setCurrentIndex(2);
        form.DoLookup->setEnabled(false);
        const QString dnsText = form.DNSHost->text();
        form.SSTab1_Click(1);
        form.SSTab1_Click(2);
        QCOMPARE(form.module.CurrentTab, QStringLiteral("DNS Lookup"));
        QCOMPARE(form.defaultButton(), form.DoLookup);
        QVERIFY(!form.DoLookup->isEnabled());
        QCOMPARE(form.DNSHost->text(), dnsText);
    }

    // A caption that is none of the four names keeps the old default button but is still recorded.
    void unknownCaptionKeepsDefault()
    {
        FormHarness h;
        Form1& form = *h.form;
        form.SSTab1->setCurrentIndex(3);
        form.SSTab1->setTabText(1, QStringLiteral("   traceroute   "));   // case differs
        form.SSTab1->setCurrentIndex(1);
        QCOMPARE(form.module.CurrentTab, QStringLiteral("traceroute"));
        QCOMPARE(form.defaultButton(), form.Command1);
    }

    // Enter before any switch: only a focused button reacts; the Ping page's box starts nothing.
    void enterBeforeAnySwitch()
    {
        FormHarness h;
        Form1& form = *h.form;
        form.showCentred();
        QVERIFY(QTest::qWaitForWindowActive(&form));
        QSignalSpy ping(form.cmdPing, &QPushButton::clicked);

        form.txtRemote->setFocus();
        QTest::keyClick(form.txtRemote, Qt::Key_Return);
        QCOMPARE(ping.count(), 0);

        form.cmdPing->setFocus();
        QTest::keyClick(form.cmdPing, Qt::Key_Return);
        QCOMPARE(ping.count(), 1);
        QTest::keyClick(form.cmdPing, Qt::Key_Enter);
        QCOMPARE(ping.count(), 2);
    }

    // Enter in a text box presses the page's enabled default button — but never a disabled one,
    // and a focused button wins over the default.
    void enterPressesDefaultButton()
    {
        FormHarness h;
        Form1& form = *h.form;
        form.showCentred();
        QVERIFY(QTest::qWaitForWindowActive(&form));
        form.SSTab1->setCurrentIndex(3);
        QSignalSpy query(form.Command1, &QPushButton::clicked);
        form.Text1->setFocus();
        QTest::keyClick(form.Text1, Qt::Key_Return);
        QCOMPARE(query.count(), 1);

        form.Command1->setEnabled(false);
        form.Text1->setFocus();
        QTest::keyClick(form.Text1, Qt::Key_Return);
        QCOMPARE(query.count(), 1);

        form.SSTab1->setCurrentIndex(0);
        form.cmdCancel->setEnabled(true);
        form.cmdCancel->setFocus();
        QSignalSpy ping(form.cmdPing, &QPushButton::clicked);
        QSignalSpy cancel(form.cmdCancel, &QPushButton::clicked);
        QTest::keyClick(form.cmdCancel, Qt::Key_Return);
        QCOMPARE(cancel.count(), 1);
        QCOMPARE(ping.count(), 0);
    }

    // Space still clicks a focused button (the window's key preview must not swallow key releases).
    void spaceClicksFocusedButton()
    {
        FormHarness h;
        Form1& form = *h.form;
        form.showCentred();
        QVERIFY(QTest::qWaitForWindowActive(&form));
        QSignalSpy ping(form.cmdPing, &QPushButton::clicked);
        form.cmdPing->setFocus();
        QTest::keyClick(form.cmdPing, Qt::Key_Space);
        QCOMPARE(ping.count(), 1);
    }
};

QTEST_MAIN(TestPageSwitch)
#include "tst_pageswitch.moc"
