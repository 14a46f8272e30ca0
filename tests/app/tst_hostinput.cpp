// What a user types as a host, on its way to the resolver, the ICMP engine and the whois server:
// no line breaks, names in their ASCII form, and the address the check found handed on.
#include "FormHarness.h"
#include "app/Label.h"
#include "platform/NameLookup.h"

#include <QClipboard>
#include <QMimeData>
#include <QtTest>

namespace {

void paste(QLineEdit* box, const QString& text)
{
    QGuiApplication::clipboard()->setText(text), box->setFocus(), QTest::keySequence(box, QKeySequence::Paste);
}

void drop(QLineEdit* box, const QString& text)
{
    QMimeData mime;
    mime.setText(text);
    QDragEnterEvent enter(box->rect().center(), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(box, &enter);
    QDropEvent event(QPointF(box->rect().center()), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(box, &event);
}

} // namespace

class TestHostInput : public QObject {
    Q_OBJECT
private slots:
    // Catches a line break kept in a one-line box (a pasted "host\n" refused as a host), whichever
    // way it came: set (as the command line does), typed by an input method, pasted or dropped.
    void lineBreaksDropped()
    {
        FormHarness h;
        h.form->show();
        const std::pair<QString, QString> texts[] = {   // arriving, kept
            {"host.test\n", "host.test"}, {"host.test\r\n", "host.test"}, {"exam\nple.test", "example.test"},
            {QString::fromUtf16(u"a\u2028b\u2029c\u0085d\ve\ff"), "abcdef"}, {"\r\n", ""}};
        const std::function<void(QLineEdit*, const QString&)> ways[] = {
            [](QLineEdit* box, const QString& t) { box->setText(t); },
            [](QLineEdit* box, const QString& t) { QTest::sendKeyEvent(QTest::Click, box, Qt::Key_unknown, t, {}); },
            paste, drop};
        for (const auto& [arriving, kept] : texts) {
            for (const char* name : {"txtRemote", "txtRemoteTrace", "DNSHost", "Text1", "Text2", "Text3", "txtLocal", "txtLocalDNS"}) {
                h.edit(name)->setText(arriving);
                QVERIFY2(h.edit(name)->text() == kept, name);
            }
            for (const auto& arrive : ways) {
                h.edit("txtRemote")->clear();
                arrive(h.edit("txtRemote"), arriving);
                QCOMPARE(h.edit("txtRemote")->text(), kept);
            }
        }
        QLineEdit* box = h.edit("txtRemote");
        box->setText("host");
        box->setCursorPosition(2);
        paste(box, "\nX\n");
        QCOMPARE(box->text() + ' ' + QString::number(box->cursorPosition()), QStringLiteral("hoXst 3"));
    }

    // Catches a name in another script reaching the resolver or a server as typed (where glibc finds
    // no such host), a caption or message no longer showing what was typed, a text no host can have
    // asked about at all, a whois query that is no domain changed on its way, or the control not
    // given the address its check found (the interface of a link-local one included).
    void asciiForm()
    {
        const QString label64(64, u'x');
        // Page (4: the whois server), typed, what the resolver or the server got, what the page shows.
        const std::tuple<int, QString, QString, QString> cases[] = {
            {0, "münchen.test", "xn--mnchen-3ya.test 198.18.0.99", "Pinging münchen.test with 32 bytes of data"},
            {1, "MÜNCHEN.test/", "xn--mnchen-3ya.test 198.18.0.99", "Tracing route to MÜNCHEN.test"},
            {2, "例え.テスト", "xn--r8jz45g.xn--zckzah/xn--r8jz45g.xn--zckzah", "Looking up 例え.テスト"},
            {3, "münchen.test", "xn--mnchen-3ya.test\r\n", ""},
            {4, "whois.münchen.test", "whois.xn--mnchen-3ya.test", ""},
            {0, "fe80::1%eth0", "fe80::1%eth0 fe80::1%eth0", "Pinging fe80::1%eth0 with 32 bytes of data"},
            {0, "two wörds.test", " ", "two wörds.test is an invaild domain name."},
            {1, label64 + "ü.test", " ", label64 + "ü.test is an invaild domain name."},
            {2, "a\u202e.test", "/a\u202e.test", "a\u202e.test is an invaild domain name."},
            {3, "AS64500", "AS64500\r\n", ""}, {3, "müller gmbh", "müller gmbh\r\n", ""},
            {4, "two words.test", "two words.test", ""}};
        for (const auto& [page, typed, got, shown] : cases) {
            FormHarness h;
            // As the command line starts a page: the box filled, the button pressed.
            h.form->openPage(Page(std::min(page, 3)), page == 4 ? "example.test" : typed, true, page == 4 ? typed : QString());
            if (page == 3)
                emit h.tcp->connected();
            const QString checked = QString::fromUtf8(h.resolver.checked.join('+')), seen = page == 3 ? QString::fromUtf8(h.tcp->sent)
                : page == 4 ? h.tcp->remoteHost   // below: the address the check found, handed to the control
                : page == 2 ? checked + '/' + QString::fromUtf8(h.resolver.requests.at(0).key) : checked + ' ' + h.icmp->target.toString();
            const char* captions[] = {"lblCaption", "lblCaptionTrace", "lblCaptionDNS"};
            QCOMPARE(seen, got);
            QCOMPARE(page < 3 && h.messages().isEmpty() ? h.find<Label>(captions[page])->caption() : h.messages(), shown);
        }
    }

    // Catches a link-local address losing its interface on the way from the check to the control
    // (the engine's side: tst_icmp_engine's checkedAddressUsed), or a name server asked for it.
    void checkedAddressHandedOn()
    {
        QCOMPARE(systemAddressesOf("fe80::2%1", true).value(0).toString(), QStringLiteral("fe80::2%lo"));
        QVERIFY(systemAddressesOf("localhost", true).isEmpty());
    }
};

QTEST_MAIN(TestHostInput)
#include "tst_hostinput.moc"
