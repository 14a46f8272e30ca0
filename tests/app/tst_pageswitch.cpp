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
        for (QPushButton* b : form.findChildren<QPushButton*>())
            if (b->isDefault())
                result << b;
        return result;
    }

private slots:
    // CurrentTab keeping the padding blanks, a default button that does not follow the page, two defaults,
    // or a re-run of the handler that changes something.
    void switchRecordsTrimmedCaptionAndDefault()
    {
        FormHarness h;
        Form1& form = *h.form;
        QCOMPARE(form.module.CurrentTab, QString());
        QVERIFY(defaults(form).isEmpty());

        const std::tuple<int, const char*, QPushButton*> pages[] = {
            {1, "Traceroute", form.cmdTraceroute}, {2, "DNS Lookup", form.DoLookup}, {3, "Whois", form.Command1},
            {0, "Ping", form.cmdPing}, {2, "DNS Lookup", form.DoLookup}};
        for (const auto& [page, word, button] : pages) {
            form.SSTab1->setCurrentIndex(page);
            QCOMPARE(form.module.CurrentTab, QString::fromLatin1(word));
            QCOMPARE(defaults(form), QList<QPushButton*>{button});
        }
        form.DoLookup->setEnabled(false);
        form.SSTab1_Click(1);
        QCOMPARE(form.module.CurrentTab, QStringLiteral("DNS Lookup"));
        QCOMPARE(form.defaultButton(), form.DoLookup);
        QVERIFY(!form.DoLookup->isEnabled());

        // A caption that is none of the four names is recorded but keeps the default button.
        form.SSTab1->setTabText(1, QStringLiteral("   traceroute   "));
        form.SSTab1->setCurrentIndex(1);
        QCOMPARE(form.module.CurrentTab, QStringLiteral("traceroute"));
        QCOMPARE(form.defaultButton(), form.DoLookup);
    }

    // Enter pressing the wrong button: a focused button first, then an enabled default, else nothing —
    // and Space must still click a focused button although the window previews key releases.
    void enterAndSpace()
    {
        FormHarness h;
        Form1& form = *h.form;
        form.showCentred();
        QVERIFY(QTest::qWaitForWindowActive(&form));
        QSignalSpy ping(form.cmdPing, &QPushButton::clicked);
        QSignalSpy query(form.Command1, &QPushButton::clicked);
        QSignalSpy cancel(form.cmdCancel, &QPushButton::clicked);
        const auto press = [](QWidget* w, Qt::Key key = Qt::Key_Return) {
            w->setFocus();
            QTest::keyClick(w, key);
        };

        press(form.txtRemote);   // no switch yet: no default button
        QCOMPARE(ping.count(), 0);
        press(form.cmdPing);
        press(form.cmdPing, Qt::Key_Enter);
        press(form.cmdPing, Qt::Key_Space);
        QCOMPARE(ping.count(), 3);

        form.SSTab1->setCurrentIndex(3);
        press(form.Text1);
        QCOMPARE(query.count(), 1);
        form.Command1->setEnabled(false);
        press(form.Text1);
        QCOMPARE(query.count(), 1);

        form.SSTab1->setCurrentIndex(0);
        form.cmdCancel->setEnabled(true);
        press(form.cmdCancel);
        QCOMPARE(cancel.count(), 1);
        QCOMPARE(ping.count(), 3);
    }
};

QTEST_MAIN(TestPageSwitch)
#include "tst_pageswitch.moc"
