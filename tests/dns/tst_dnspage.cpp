// The DNS Lookup page driven as a user drives it: on the resolver fake, and (as root) on the real
// resolver inside lab namespaces from dns_lab.sh (own hosts file, resolv.conf, name server) that
// this program runs itself in.
#include "FormHarness.h"
#include "app/Label.h"
#include "app/MultiLineTextBox.h"
#include "platform/SystemResolver.h"
#include "platform/WindowMessage.h"

#include <QApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QTabWidget>
#include <QtTest>

#include <unistd.h>

namespace {

const QString kError = QStringLiteral("An Asyncronous error occured");
const QString kWww = QStringLiteral("IP:  198.18.53.10\r\nHost Name: real.test\r\nHost Alias: www.test\r\n"
                                    "Host Alias: mid.test");
const QString kFiles = QStringLiteral("IP:  198.18.53.30\r\nHost Name: files.test\r\nHost Alias: fa1.test\r\n"
                                      "Host Alias: fa2.test");

struct Page {
    explicit Page(bool connected = true, Resolver* real = nullptr) : h(true, connected, real)
    {
        h.form->show();
        h.form->SSTab1->setCurrentIndex(2);
        h.messageBox.shown.clear();
    }
    // Types the host (in one key event, as an input method would) and presses Lookup or Enter.
    qint32 lookUp(const QString& host, bool enter = false)
    {
        h.form->DNSHost->clear();
        QTest::sendKeyEvent(QTest::Click, h.form->DNSHost, Qt::Key_unknown, host, Qt::NoModifier);
        if (enter)
            QTest::keyClick(h.form->DNSHost, Qt::Key_Return);
        else
            QTest::mouseClick(h.form->DoLookup, Qt::LeftButton);
        return h.form->AsyncHandle;
    }
    // Text box|caption|result box|messages|names checked|requests' keys|sockets-layer starts.
    QString view() const
    {
        QStringList messages, keys;
        for (const auto& m : h.messageBox.shown)
            messages << m.prompt;
        for (const auto& r : h.resolver.requests)
            keys << QString::fromUtf8(r.key);
        const QString box = h.form->HostResponse->isVisible() ? h.form->HostResponse->text() : QStringLiteral("hidden");
        return QStringList{h.form->DNSHost->text(), h.form->lblCaptionDNS->caption(), box, messages.join(u'+'),
                           QString::fromUtf8(h.resolver.checked.join('+')), keys.join(u'+'),
                           QString::number(h.resolver.startups)}
            .join(u'|');
    }
    QString box() const { return h.form->HostResponse->text(); }
    QString retCode() const { return QStringLiteral("RetCode: %1\r\n").arg(h.form->AsyncHandle); }
    FormHarness h;
};

} // namespace

class TestDnsPage : public QObject {
    Q_OBJECT
private slots:
    // Catches a wrong slash cut, caption or "RetCode:" line, mangled bytes, or a mishandled invalid name.
    void click_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("view");   // %1 is the text as looked up
        const QString valid = QStringLiteral("%1|Looking up %1|RetCode: 4001\r\n||%1|%1|1");
        QTest::newRow("trailing slash") << "real.test/" << valid.arg("real.test");
        QTest::newRow("two slashes") << "abc//" << valid.arg("abc");
        QTest::newRow("empty") << "" << valid.arg("");
        QTest::newRow("one char") << "x" << valid.arg("x");
        QTest::newRow("one slash") << "/" << valid.arg("/");
        QTest::newRow("1000 chars") << QString(1000, u'a') << valid.arg(QString(1000, u'a'));
        QTest::newRow("IDN") << QStringLiteral("bücher.test") << valid.arg(QStringLiteral("bücher.test"));
        QTest::newRow("invalid name") << "nowhere.test"
                                      << "nowhere.test||RetCode: 4001\r\n|nowhere.test is an invaild domain name."
                                         "|nowhere.test|nowhere.test|1";
    }
    void click()
    {
        QFETCH(QString, typed);
        QFETCH(QString, view);
        Page p;
        p.h.resolver.unknown << "nowhere.test";
        p.h.messageBox.onShow = [&p](const FakeMessageBox::Shown&) { QVERIFY(p.h.resolver.requests.empty()); };
        p.lookUp(typed);
        QCOMPARE(p.view(), view);
    }

    // Catches a request made, or the page touched, without a connection or sockets layer; a wrong line for none.
    void noRequest()
    {
        Page p(false);
        p.h.form->HostResponse->hide();
        p.lookUp(QStringLiteral("a.test/"));
        QCOMPARE(p.view(), QStringLiteral("a.test/||hidden|You must connected to the Internet for this function to "
                                          "work properly.|||0"));
        p.h.form->module.IsConnected = kTrue16;
        p.h.messageBox.shown.clear();
        p.h.resolver.startupError = 10091;
        p.lookUp(QStringLiteral("a.test"));
        QCOMPARE(p.view(), QStringLiteral("a.test|Looking up a.test|||a.test||0"));
        p.h.resolver.startupError = 0;
        p.h.resolver.refuse = true;
        p.lookUp(QStringLiteral("a.test"));
        QCOMPARE(p.view(), QStringLiteral("a.test|Looking up a.test|RetCode: 0\r\n||a.test+a.test||1"));
    }

    // Catches completions showing each other's entries, or the sockets layer released for errors or not per success.
    void completions_data()
    {
        QTest::addColumn<bool>("inOrder");
        QTest::newRow("in order") << true;
        QTest::newRow("reversed") << false;
    }
    void completions()
    {
        QFETCH(bool, inOrder);
        Page p;
        const QByteArray address("\xc6\x12\x00\x01", 4);
        p.h.resolver.entries.insert("one.test", {"one.test", {"uno.test"}, 2, 4, {address}});
        p.h.resolver.entries.insert("two.test", {"two.test", {}, 2, 4, {address}});
        QVERIFY(p.h.resolver.complete(p.lookUp(QStringLiteral("nowhere.test"))));
        QCOMPARE(p.box(), kError);
        const qint32 one = p.lookUp(QStringLiteral("one.test"));
        const qint32 two = p.lookUp(QStringLiteral("two.test"), true);
        QVERIFY(p.h.resolver.complete(inOrder ? one : two));
        QVERIFY(p.h.resolver.complete(inOrder ? two : one));
        const QString oneLines = QStringLiteral("IP:  198.18.0.1\r\nHost Name: one.test\r\nHost Alias: uno.test");
        const QString twoLines = QStringLiteral("IP:  198.18.0.1\r\nHost Name: two.test");
        QCOMPARE(p.box(), QStringLiteral("RetCode: 4003\r\n") + (inOrder ? oneLines + twoLines : twoLines + oneLines));
        QCOMPARE(p.h.resolver.cleanups, 2);
    }

    // Catches a start-up count going below zero, a NUL cutting a text short, or a request with no target.
    void withoutQueries()
    {
        SystemResolver resolver;
        WSADATA data;
        QCOMPARE(resolver.WSAStartup(0x0101, data), 0);
        QCOMPARE(resolver.WSACleanup(), 0);
        QCOMPARE(resolver.WSACleanup(), sockets_layer::WSANOTINITIALISED);
        QCOMPARE(sockets_layer::startups(), 0);
        const QByteArray nul("198.18.0.7\0x", 12);   // glibc would read the address before the NUL
        QCOMPARE(inet_addr(nul), 0xFFFFFFFFu);
        QVERIFY(!resolver.gethostbyname(nul));
        QObject window;
        QList<quint16> errors;
        onWindowMessage(&window, [&errors](const WindowMessage& m) { errors << quint16(m.lParam >> 16); });
        char buf[1040];
        QCOMPARE(resolver.WSAAsyncGetHostByName(nullptr, WM_LBUTTONUP, nul, buf, 1040), 0);
        QCOMPARE(resolver.WSAAsyncGetHostByName(&window, WM_LBUTTONUP, nul, nullptr, 0), 0);
        QVERIFY(resolver.WSAAsyncGetHostByName(&window, WM_LBUTTONUP, nul, buf, 1040) > 0);
        QVERIFY(errors.isEmpty());
        QTRY_COMPARE(errors, QList<quint16>{WSAHOST_NOT_FOUND});
    }

    // Runs the InLab cases in a lab namespace: a failure there, shown above, fails here.
    void inNamespaces_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QStringList>("cases");
        QTest::newRow("lab") << "lab" << QStringList{"lookup", "inFlightTogether"};
        QTest::newRow("mute") << "mute" << QStringList{"silentNameServer"};
    }
    void inNamespaces()
    {
        QFETCH(QString, kind);
        QFETCH(QStringList, cases);
        if (::geteuid() != 0 || !QFile::exists(QStringLiteral("/usr/sbin/dnsmasq")))
            QSKIP("needs root and dnsmasq (scripts/setup.sh) to make network namespaces with a name server");
        QTemporaryDir work;
        const QString name = QStringLiteral("pl-dns-%1-%2").arg(::getpid()).arg(kind);
        const auto down = qScopeGuard([&] { QProcess::execute(DNS_LAB_SCRIPT, {"down", name, work.path()}); });
        QCOMPARE(QProcess::execute(DNS_LAB_SCRIPT, {"up", name, work.path(), kind}), 0);
        qputenv("PATHLARK_DNS_LAB", "1");
        QProcess inside;
        inside.setProcessChannelMode(QProcess::ForwardedChannels);
        QElapsedTimer clock;
        clock.start();
        const QStringList exec{"netns", "exec", name, QCoreApplication::applicationFilePath()};
        inside.start(QStringLiteral("ip"), exec + cases);
        QVERIFY(inside.waitForFinished(60000));
        QCOMPARE(inside.exitCode(), 0);
        // The silent lookups wait 5 s; the program leaves without them.
        QVERIFY2(kind == QLatin1String("lab") || clock.elapsed() < 4500, qPrintable(QString::number(clock.elapsed())));
    }
};

class InLab : public QObject {
    Q_OBJECT
private slots:
    // Catches an answer, hostile text, blocking check or sockets-layer balance mishandled on the page.
    void lookup_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<bool>("invalid");
        QTest::addColumn<QString>("shown");   // '?' stands for any one character
        QTest::newRow("CNAME chain") << "www.test" << false << kWww;
        QTest::newRow("several addresses") << "multi.test" << false << "IP:  198.18.53.2?\r\nHost Name: multi.test";
        QTest::newRow("reverse") << "198.18.53.40" << false << "IP:  198.18.53.40\r\nHost Name: ptr.test";
        QTest::newRow("hosts file") << "fa1.test" << false << kFiles;
        QTest::newRow("unknown") << "nope.test" << true << kError;
        QTest::newRow("too big for the buffer") << "crowd.test" << false << kError;
        QTest::newRow("all ones") << "255.255.255.255" << false << "IP:  255.255.255.255\r\nHost Name: 255.255.255.255";
        QTest::newRow("trailing dot") << "real.test." << false << "IP:  198.18.53.10\r\nHost Name: real.test";
        QTest::newRow("two trailing dots") << "real.test.." << true << kError;
        QTest::newRow("empty") << "" << true << kError;
        QTest::newRow("one char") << "a" << true << kError;
        QTest::newRow("1000 chars") << QString(1000, u'a') << true << kError;
        QTest::newRow("IDN") << QStringLiteral("bücher.test") << true << kError;
        QTest::newRow("space") << "two words.test" << true << kError;
    }
    void lookup()
    {
        QFETCH(QString, host);
        QFETCH(bool, invalid);
        QFETCH(QString, shown);
        SystemResolver resolver;
        Page p(true, &resolver);
        const int startups = sockets_layer::startups();
        p.lookUp(host);
        QTRY_COMPARE_WITH_TIMEOUT(resolver.inFlight(), 0, 10000);
        QString want = QRegularExpression::escape(shown == kError ? kError : p.retCode() + shown);
        want.replace(QLatin1String("\\?"), QLatin1String("."));
        QVERIFY2(QRegularExpression(QRegularExpression::anchoredPattern(want)).match(p.box()).hasMatch(),
                 qPrintable(p.box()));
        QCOMPARE(p.h.messageBox.shown.size(), size_t(invalid));
        QCOMPARE(sockets_layer::startups() - startups, int(shown == kError));
    }

    // Catches lookups in flight together showing each other's entries, or completing into a closed window.
    void inFlightTogether()
    {
        SystemResolver resolver;
        Page p(true, &resolver);
        p.lookUp(QStringLiteral("www.test"));
        p.lookUp(QStringLiteral("fa1.test"));
        const QString head = p.retCode();
        QTRY_COMPARE_WITH_TIMEOUT(resolver.inFlight(), 0, 10000);
        QVERIFY2(p.box() == head + kWww + kFiles || p.box() == head + kFiles + kWww, qPrintable(p.box()));
        const int startups = sockets_layer::startups();
        for (const char* host : {"www.test", "nope.test", "198.18.53.40"})
            p.lookUp(QString::fromLatin1(host));
        p.h.form->close();
        p.h.form.reset();
        QTRY_COMPARE_WITH_TIMEOUT(resolver.inFlight(), 0, 10000);
        QCOMPARE(sockets_layer::startups() - startups, 3);
    }

    // Catches a name server that never answers freezing the page or starving later lookups.
    void silentNameServer()
    {
        SystemResolver resolver;
        Page p(true, &resolver);
        // Straight to the request: the page's blocking check would wait out the time-out first.
        for (int i = 0; i < 12; ++i)
            p.h.form->WSAAsyncGetHostByNameAlias(p.h.form->ReceiveWindow, 514, QStringLiteral("silent%1.test").arg(i));
        p.lookUp(QStringLiteral("files.test"));
        QTRY_COMPARE_WITH_TIMEOUT(resolver.inFlight(), 12, 2000);
        QCOMPARE(p.box(), p.retCode() + kFiles);
    }
};

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    TestDnsPage outside;
    InLab inside;
    const bool inLab = qEnvironmentVariableIsSet("PATHLARK_DNS_LAB");
    return QTest::qExec(inLab ? static_cast<QObject*>(&inside) : &outside, argc, argv);
}

#include "tst_dnspage.moc"
