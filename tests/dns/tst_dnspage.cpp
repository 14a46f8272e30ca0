// The DNS Lookup page driven as a user drives it: on the resolver fake, and (as root) on the
// real resolver inside lab namespaces (lab/netlab.sh) that this program runs itself in: one
// with a name server of its own (dns), one whose name server never answers (mute). There it
// also checks that the window answers while the resolver does not, and that closing it ends
// the process at once, whatever is in flight.
#include "FormHarness.h"
#include "NetLab.h"
#include "app/Label.h"
#include "app/MultiLineTextBox.h"
#include "app/RealPlatform.h"
#include "platform/SystemResolver.h"
#include "platform/WindowMessage.h"

#include <QApplication>
#include <QtEndian>
#include <QTabBar>
#include <QTabWidget>

#include <unistd.h>

namespace {

const QString kError = QStringLiteral("An Asyncronous error occured");
const QString kNotConnected = QStringLiteral("You must connected to the Internet for this function to work properly.");
const QString kFiles = QStringLiteral("IP:  198.18.53.30\r\nHost Name: files.test\r\nHost Alias: fa1.test\r\n"
                                      "Host Alias: fa2.test");

struct Page : FormHarness {
    explicit Page(bool connected = true, Resolver* real = nullptr)
        : FormHarness({.connected = connected, .adjust = [real](Platform& p) { p.resolver = real ? real : p.resolver; }})
    {
        form->show();
        find<QTabWidget>("SSTab1")->setCurrentIndex(2);
        messageBox.shown.clear();
    }
    // Types the host (in one key event, as an input method would) and presses Lookup or Enter.
    void lookUp(const QString& host, bool enter = false)
    {
        edit("DNSHost")->clear();
        QTest::sendKeyEvent(QTest::Click, edit("DNSHost"), Qt::Key_unknown, host, Qt::NoModifier);
        enter ? QTest::keyClick(edit("DNSHost"), Qt::Key_Return) : QTest::mouseClick(button("DoLookup"), Qt::LeftButton);
    }
    // Text box|caption|result box|messages|names checked|requests' keys|sockets-layer starts.
    QString view() const
    {
        QStringList messages, keys;
        for (const auto& m : messageBox.shown)
            messages << m.prompt;
        for (const auto& r : resolver.requests)
            keys << (r.addrType ? QHostAddress(r.key.size() == 16 ? QHostAddress(reinterpret_cast<const quint8*>(r.key.data()))
                                                                  : QHostAddress(qFromBigEndian<quint32>(r.key.data())))
                                      .toString()
                                : QString::fromUtf8(r.key));
        return QStringList{edit("DNSHost")->text(), find<Label>("lblCaptionDNS")->caption(),
                           textBox()->isVisible() ? box() : QStringLiteral("hidden"), messages.join(u'+'),
                           QString::fromUtf8(resolver.checked.join('+')), keys.join(u'+'), QString::number(resolver.startups)}
            .join(u'|');
    }
    QString box() const { return textBox()->text(); }
    QString retCode() const { return box().section(QStringLiteral("\r\n"), 0, 0) + QStringLiteral("\r\n"); }
};

// Runs this program's `mode` inside a lab node; its exit status.
int runInside(NetLab& lab, const QString& mode, int timeoutMs = 60000)
{
    QProcess inside;
    inside.setProcessChannelMode(QProcess::ForwardedChannels);
    QStringList env = QProcess::systemEnvironment() << "PATHLARK_LAB_MODE=" + mode;
    inside.setEnvironment(env);
    inside.start("ip", {"netns", "exec", lab.name("h"), QCoreApplication::applicationFilePath()});
    return inside.waitForFinished(timeoutMs) ? inside.exitCode() : -1;
}

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
        QTest::newRow("one slash") << "/" << valid.arg("/");
        QTest::newRow("1000 chars") << QString(1000, u'a') << valid.arg(QString(1000, u'a'));
        QTest::newRow("IDN") << QStringLiteral("bücher.test") << valid.arg(QStringLiteral("bücher.test"));
        QTest::newRow("IPv4 address") << "198.18.0.7" << valid.arg("198.18.0.7");
        QTest::newRow("IPv6 address") << "2001:db8::7" << valid.arg("2001:db8::7");
        QTest::newRow("invalid name") << "nowhere.test"
                                      << "nowhere.test||RetCode: 4001\r\n|nowhere.test is an invaild domain name."
                                         "|nowhere.test|nowhere.test|1";
    }
    void click()
    {
        QFETCH(QString, typed);
        Page p;
        p.resolver.unknown << "nowhere.test";
        p.messageBox.onShow = [&p](const FakeMessageBox::Shown&) { QVERIFY(p.resolver.requests.empty()); };
        p.lookUp(typed);
        QTEST(p.view(), "view");
    }

    // Catches a request made, or the page touched, without a connection or sockets layer; a wrong
    // line for none; a check answered late for an older click going on instead of the newest.
    void noRequest()
    {
        Page offline(false);
        offline.textBox()->hide();
        offline.lookUp(QStringLiteral("a.test/"));
        QCOMPARE(offline.view(), QStringLiteral("a.test/||hidden|") + kNotConnected + "|||0");
        Page p;
        p.resolver.startupError = 10091;
        p.lookUp(QStringLiteral("a.test"));
        QCOMPARE(p.view(), QStringLiteral("a.test|Looking up a.test|||a.test||0"));
        p.resolver.startupError = 0;
        p.resolver.refuse = true;
        p.resolver.holdChecks = true;
        p.lookUp(QStringLiteral("b.test"));
        p.lookUp(QStringLiteral("c.test"));
        p.resolver.completeChecks();
        QCOMPARE(p.view(), QStringLiteral("c.test|Looking up c.test|RetCode: 0\r\n||a.test+b.test+c.test||1"));
    }

    // Catches completions shown for a request that is no longer the newest, or the sockets layer
    // released for errors or not once per success.
    void newestCompletionOnly_data()
    {
        QTest::addColumn<bool>("inOrder");
        QTest::newRow("in order") << true;
        QTest::newRow("reversed") << false;
    }
    void newestCompletionOnly()
    {
        QFETCH(bool, inOrder);
        Page p;
        const QByteArray address("\xc6\x12\x00\x01", 4);
        p.resolver.entries.insert("one.test", {"one.test", {"uno.test"}, 2, 4, {address}});
        p.resolver.entries.insert("two.test", {"two.test", {}, 2, 4, {address}});
        p.lookUp(QStringLiteral("nowhere.test"));
        p.lookUp(QStringLiteral("one.test"));
        p.lookUp(QStringLiteral("two.test"), true);
        const QList<qint32> order = inOrder ? QList<qint32>{4001, 4002, 4003} : QList<qint32>{4003, 4002, 4001};
        for (qint32 handle : order)
            QVERIFY(p.resolver.complete(handle));
        QCOMPARE(p.box(), QStringLiteral("RetCode: 4003\r\nIP:  198.18.0.1\r\nHost Name: two.test"));
        QCOMPARE(p.resolver.cleanups, 2);
    }

    // Catches a start-up count going below zero, a NUL cutting a text short, or a request with no target.
    void withoutQueries()
    {
        SystemResolver resolver;
        WSADATA data;
        QCOMPARE(resolver.WSAStartup(0x0101, data), 0);
        QCOMPARE(resolver.WSACleanup(), 0);
        QCOMPARE(resolver.WSACleanup(), sockets_layer::WSANOTINITIALISED);
        const QByteArray nul("198.18.0.7\0x", 12);   // glibc would read the address before the NUL
        QCOMPARE(inet_addr(nul), 0xFFFFFFFFu);
        QObject window;
        int found = -1;
        resolver.checkHost(nul, &window, [&found](bool f) { found = f; });
        QList<quint16> errors;
        onWindowMessage(&window, [&errors](const WindowMessage& m) { errors << quint16(m.lParam >> 16); });
        char buf[1040];
        QCOMPARE(resolver.WSAAsyncGetHostByName(nullptr, WM_LBUTTONUP, nul, buf, 1040), 0);
        QCOMPARE(resolver.WSAAsyncGetHostByName(&window, WM_LBUTTONUP, nul, nullptr, 0), 0);
        QVERIFY(resolver.WSAAsyncGetHostByName(&window, WM_LBUTTONUP, nul, buf, 1040) > 0);
        QVERIFY(errors.isEmpty());
        QTRY_COMPARE(errors, QList<quint16>{WSAHOST_NOT_FOUND});
        QTRY_COMPARE(found, 0);
    }

    // Runs the InLab cases in lab namespaces: a failure there, shown above, fails here.
    void inNamespaces_data()
    {
        QTest::addColumn<QString>("topology");
        QTest::addColumn<QStringList>("modes");
        QTest::newRow("name server") << "dns" << QStringList{"dns"};
        QTest::newRow("silent name server") << "mute" << QStringList{"mute", "exit:whois", "exit:lookup", "exit:trace", "exit:f1"};
    }
    void inNamespaces()
    {
        QFETCH(QString, topology);
        NetLab lab(topology);
        NETLAB_REQUIRE(lab);
        QFETCH(QStringList, modes);
        for (const QString& mode : modes)
            QVERIFY2(runInside(lab, mode) == 0, qPrintable(mode));
    }
};

class InLab : public QObject {
    Q_OBJECT
private slots:
    // Catches an answer, hostile text, an IPv6-only name or address or the sockets-layer balance mishandled.
    void lookup_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<bool>("invalid");
        QTest::addColumn<QString>("shown");   // '?' stands for any one character
        QTest::newRow("CNAME chain") << "www.test" << false
                                     << "IP:  198.18.53.10\r\nHost Name: real.test\r\nHost Alias: www.test\r\nHost Alias: mid.test";
        QTest::newRow("several addresses") << "multi.test" << false << "IP:  198.18.53.2?\r\nHost Name: multi.test";
        QTest::newRow("reverse") << "198.18.53.40" << false << "IP:  198.18.53.40\r\nHost Name: ptr.test";
        QTest::newRow("hosts file") << "fa1.test" << false << kFiles;
        QTest::newRow("IPv6 only") << "v6only.test" << false << "IP:  2001:db8:53::10\r\nHost Name: v6only.test";
        QTest::newRow("both kinds: IPv4") << "dual.test" << false << "IP:  198.18.53.11\r\nHost Name: dual.test";
        QTest::newRow("IPv6 reverse") << "2001:db8:53::30" << false << "IP:  2001:db8:53::30\r\nHost Name: files6.test";
        QTest::newRow("unknown") << "nope.test" << true << kError;
        QTest::newRow("too big for the buffer") << "crowd.test" << false << kError;
        QTest::newRow("all ones") << "255.255.255.255" << false << "IP:  255.255.255.255\r\nHost Name: 255.255.255.255";
        QTest::newRow("trailing dot") << "real.test." << false << "IP:  198.18.53.10\r\nHost Name: real.test";
        QTest::newRow("two trailing dots") << "real.test.." << true << kError;
        QTest::newRow("1000 chars") << QString(1000, u'a') << true << kError;
        QTest::newRow("space") << "two words.test" << true << kError;
    }
    void lookup()
    {
        QFETCH(QString, host);
        QFETCH(QString, shown);
        SystemResolver resolver;
        Page p(true, &resolver);
        const int startups = sockets_layer::startups();
        p.lookUp(host);
        QTRY_VERIFY_WITH_TIMEOUT(p.box().contains("Host Name") || p.box() == kError, 10000);
        QString want = QRegularExpression::escape(shown == kError ? kError : p.retCode() + shown);
        want.replace(QLatin1String("\\?"), QLatin1String("."));
        QVERIFY2(QRegularExpression(QRegularExpression::anchoredPattern(want)).match(p.box()).hasMatch(),
                 qPrintable(p.box()));
        QFETCH(bool, invalid);
        QCOMPARE(p.messageBox.shown.size(), size_t(invalid));
        QCOMPARE(sockets_layer::startups() - startups, int(shown == kError));
    }

    // Catches lookups in flight together showing an older one's entry, or a lookup into a closed window crashing.
    void inFlightTogether()
    {
        SystemResolver resolver;
        Page p(true, &resolver);
        p.lookUp(QStringLiteral("www.test"));
        QTRY_VERIFY(p.box().startsWith("RetCode"));
        p.lookUp(QStringLiteral("fa1.test"));
        QTRY_COMPARE_WITH_TIMEOUT(p.box(), p.retCode() + kFiles, 10000);
        QTRY_COMPARE(resolver.inFlight(), 0);
        QCOMPARE(p.box(), p.retCode() + kFiles);
        p.lookUp(QStringLiteral("www.test"));
        QTRY_VERIFY(p.box().startsWith("RetCode"));
        p.form->close();
        p.form.reset();
        QTRY_COMPARE_WITH_TIMEOUT(resolver.inFlight(), 0, 10000);
    }
};

class InMuteLab : public QObject {
    Q_OBJECT
private slots:
    // Catches a host check on a name server that never answers freezing the window: on each of
    // the three pages, the click returns, pages switch and keys type while it waits, and the
    // message comes once the resolver gives up; a later lookup of a known name is not held up.
    void windowAnswersWhileTheResolverDoesNot()
    {
        SystemResolver resolver;
        Page p(true, &resolver);
        auto* tabs = p.find<QTabWidget>("SSTab1");
        QElapsedTimer clock;
        const std::pair<const char*, const char*> pages[] = {{"txtRemote", "cmdPing"}, {"txtRemoteTrace", "cmdTraceroute"},
                                                             {"DNSHost", "DoLookup"}};
        for (int page = 0; page < 3; ++page) {
            tabs->setCurrentIndex(page);
            p.edit(pages[page].first)->setText(QStringLiteral("silent.test"));
            clock.start();
            QTest::mouseClick(p.button(pages[page].second), Qt::LeftButton);
            QTest::mouseClick(tabs->tabBar(), Qt::LeftButton, {}, tabs->tabBar()->tabRect(3).center());
            QTest::keyClick(p.edit("Text1"), Qt::Key_X);
            QVERIFY2(clock.elapsed() < 150 && tabs->currentIndex() == 3 && p.edit("Text1")->text().endsWith(u'x'),
                     qPrintable(QString::number(clock.elapsed())));
        }
        QVERIFY(p.messageBox.shown.empty());
        QTRY_COMPARE_WITH_TIMEOUT(p.messageBox.shown.size(), size_t(3), 15000);
        QVERIFY(p.button("cmdTraceroute")->isEnabled());
        p.lookUp(QStringLiteral("silent.test"));
        p.lookUp(QStringLiteral("localhost"));
        QTRY_COMPARE_WITH_TIMEOUT(p.box(), p.retCode() + "IP:  127.0.0.1\r\nHost Name: localhost", 2000);
    }
};

// Closes the window, with `what` in flight, 300 ms after it is shown; says when on stdout.
int closeWhileBusy(const QString& what)
{
    QTemporaryDir bin;
    if (what == QLatin1String("f1")) {   // a desktop that never answers which viewer it has
        QFile slow(bin.filePath("xdg-mime"));
        slow.open(QIODevice::WriteOnly) && slow.write("#!/bin/sh\nexec sleep 30\n");
        slow.setPermissions(QFile::ExeOwner | QFile::ReadOwner);
        qputenv("PATH", bin.path().toUtf8() + ':' + qgetenv("PATH"));
    }
    RealPlatform platform;
    Form1 form(platform.platform());
    form.Form_Load();
    form.show();
    const auto click = [&form](const char* box, const QString& text, const char* button) {
        form.findChild<QLineEdit*>(QLatin1String(box))->setText(text);
        form.findChild<QPushButton*>(QLatin1String(button))->click();
    };
    if (what == QLatin1String("whois"))
        click("Text2", QStringLiteral("whois.silent.test"), "Command1");
    else if (what == QLatin1String("lookup"))   // an address passes the check; its name is asked of no one
        click("DNSHost", QStringLiteral("198.18.53.99"), "DoLookup");
    else if (what == QLatin1String("trace"))
        click("txtRemoteTrace", QStringLiteral("198.18.53.99"), "cmdTraceroute");
    else
        QTimer::singleShot(50, &form, [&form] { QTest::keyClick(&form, Qt::Key_F1); });
    QTimer::singleShot(300, &form, [&form] {
        form.close();
        std::printf("closed\n");
        std::fflush(stdout);
    });
    return QApplication::exec();
}

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QString mode = qEnvironmentVariable("PATHLARK_LAB_MODE");
    if (mode.startsWith(QLatin1String("exit:"))) {
        // The program's own end, timed from outside: from the close to the process gone.
        QProcess child;
        child.setEnvironment(QProcess::systemEnvironment() << "PATHLARK_LAB_MODE=close:" + mode.mid(5));
        child.start(QCoreApplication::applicationFilePath(), {});
        if (!child.waitForReadyRead(10000))
            return 2;
        QElapsedTimer clock;
        clock.start();
        child.waitForFinished(10000);
#ifdef PATHLARK_SANITIZED
        const int limit = 3000;   // the leak check at exit takes its time
#else
        const int limit = 300;
#endif
        std::printf("%s: the process ended %lld ms after the window closed, status %d\n", qPrintable(mode),
                    clock.elapsed(), child.exitCode());
        return clock.elapsed() < limit && child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0 ? 0 : 1;
    }
    if (mode.startsWith(QLatin1String("close:")))
        return closeWhileBusy(mode.mid(6));
    TestDnsPage outside;
    InLab inLab;
    InMuteLab inMute;
    QObject* tests = mode == QLatin1String("dns") ? static_cast<QObject*>(&inLab)
        : mode == QLatin1String("mute")           ? static_cast<QObject*>(&inMute)
                                                  : &outside;
    return QTest::qExec(tests, argc, argv);
}

#include "tst_dnspage.moc"
