// The Whois page following referrals, driven as a user would, against servers of the test's own:
// on loopback addresses of their own (127.N.M.x, rwhois's port 4321 for the referred ones), and in
// a lab namespace for a typed server that is not on this computer.
#include "FormHarness.h"
#include "NetLab.h"
#include "platform/Controls.h"
#include "whois/Whois.h"

#include <QAction>
#include <QScopeGuard>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace {

const QString kTimedOut = "For some reason we did not get a response back from the whois server within 30 secs.";

// One whois server: answers each query line and closes, holds the connection, or streams the
// answer until the client goes.
struct Server {
    enum Mode { Close, Hold, Endless };
    Server(const QString& address, quint16 port, QByteArray answer, Mode mode)
        : answer(std::move(answer)), mode(mode)
    {
        listening = server.listen(QHostAddress(address), port);
        QObject::connect(&server, &QTcpServer::newConnection, [this] {
            client = server.nextPendingConnection();
            ++connections;
            QObject::connect(client, &QTcpSocket::disconnected, [this] { clientGone = true; });
            QObject::connect(client, &QTcpSocket::bytesWritten, [this] { stream(); });
            QObject::connect(client, &QTcpSocket::readyRead, [this] {
                received += client->readAll();
                if (!received.endsWith("\r\n"))
                    return;
                client->write(this->answer);
                this->mode == Endless ? stream() : this->mode == Close ? client->disconnectFromHost() : void();
            });
        });
    }
    void stream()
    {
        while (mode == Endless && client->state() == QAbstractSocket::ConnectedState && client->bytesToWrite() < 1 << 20)
            client->write(answer.repeated(65536 / answer.size()));
    }
    QByteArray answer, received;
    Mode mode;
    bool listening = false, clientGone = false;
    int connections = 0;
    QPointer<QTcpSocket> client;
    QTcpServer server;
};

// The window on fakes with the real TCP connection (the fake timer fires the time-out), the Whois page in front.
struct WhoisPage : FormHarness {
    WhoisPage() : FormHarness({.adjust = [](Platform& p) { p.createTcpControl = [](QObject* o) { return new QtTcpControl(o); }; }})
    {
        form->show();
        openTab(3);
    }
    void query(const QString& server, quint16 port)
    {
        edit("Text1")->setText(QStringLiteral("example.test"));
        edit("Text2")->setText(server);
        edit("Text3")->setText(QString::number(port));
        QTest::mouseClick(button("Command1"), Qt::LeftButton);
    }
    QString shown() const { return textBox()->text(); }
    bool idle() const { return button("Command1")->isEnabled() && !busyPointer.isBusy() && textBox()->isShown(); }
};

// 127.N.M. with M new for each call: servers of one case never meet another case's or run's.
QString freshPrefix()
{
    static int next = 0;
    return QStringLiteral("127.%1.%2.").arg(100 + ::getpid() % 150).arg(++next);
}

// The longest gap of a 5 ms timer on the UI thread while it lives.
struct GapMeter {
    GapMeter()
    {
        clock.start();
        QObject::connect(&ticker, &QTimer::timeout, [this] { longest = std::max(longest, clock.restart()); });
        ticker.start(5);
    }
    QElapsedTimer clock;
    QTimer ticker;
    qint64 longest = 0;
};

} // namespace

class TestReferralChain : public QObject {
    Q_OBJECT
private slots:
    void chain_data()
    {
        // Answers of the typed server (@1) and of @2..@5 on port 4321 (null: nobody listens there),
        // "@" standing for the case's 127.N.M.; the server that holds (then the time-out fires, or
        // the window closes) or streams endlessly; what the box shows; connections to @2..@5.
        QTest::addColumn<QList<QByteArray>>("answers");
        QTest::addColumn<int>("hold");
        QTest::addColumn<bool>("closeWindow");
        QTest::addColumn<bool>("follow");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("connections");
        const QByteArray none;
        // Catches a form not followed down a real chain, the first answer changed, more than three hops.
        QTest::newRow("three, then the limit")
            << QList<QByteArray>{"a\r\nrefer: @2:4321\r\n", "ReferralServer: rwhois://@3\n", "% referto: whois -h @4 -p 4321 x\n",
                                 "Domain Name: X\nRegistrar WHOIS Server: @5:4321\n", "never\n"} << -1 << false << true
            << "a\r\r\nrefer: @2:4321\r\r\n\r\nReferred to @2 (port 4321):\r\nReferralServer: rwhois://@3\r\n\r\n"
               "Referred to @3 (port 4321):\r\n% referto: whois -h @4 -p 4321 x\r\n\r\nReferred to @4 (port 4321):\r\n"
               "Domain Name: X\r\nRegistrar WHOIS Server: @5:4321\r\n\r\nReferral to @5 (port 4321) not followed: at most 3 referrals are followed.\r\n"
            << "1110";
        QTest::newRow("no pointer: as always") << QList<QByteArray>{"plain\n", "x\n", none, none, none} << -1 << false << true << "plain\r\n" << "0000";
        // Catches Follow Referrals unchecked (or --no-referrals) still asking the next server.
        QTest::newRow("turned off") << QList<QByteArray>{"refer: @2:4321\n", "x\n", none, none, none} << -1 << false << false
                                    << "refer: @2:4321\r\n" << "0000";
        // Catches a loop asked round again, a dead or unsafe server waited for or asked.
        QTest::newRow("loop") << QList<QByteArray>{"refer: @2:4321\n", "refer: @3:4321\n", "refer: @2:4321\n", none, none} << -1 << false << true
                              << "refer: @2:4321\r\n\r\nReferred to @2 (port 4321):\r\nrefer: @3:4321\r\n\r\nReferred to @3 (port 4321):\r\n"
                                 "refer: @2:4321\r\n\r\nReferral to @2 (port 4321) not followed: that server was asked already.\r\n" << "1100";
        QTest::newRow("dead registrar") << QList<QByteArray>{"refer: @2:4321\n", none, none, none, none} << -1 << false << true
                                        << "refer: @2:4321\r\n\r\nReferred to @2 (port 4321):\r\n\r\n"
                                           "The referral ends here: @2 (port 4321) refused the connection or could not be reached.\r\n" << "0000";
        QTest::newRow("other port") << QList<QByteArray>{"ReferralServer: whois://@2:8080\n", "x\n", none, none, none} << -1 << false << true
                                    << "ReferralServer: whois://@2:8080\r\n\r\nReferral to @2 (port 8080) not followed: only ports 43 and 4321 are followed.\r\n"
                                    << "0000";
        // Catches a referred server's time-out lost, showing its part answer or the earlier ones gone.
        QTest::newRow("time-out") << QList<QByteArray>{"refer: @2:4321\n", "part\n", none, none, none} << 1 << false << true
                                  << "refer: @2:4321\r\n\r\nReferred to @2 (port 4321):\r\n\r\n" + kTimedOut + "\r\n" << "1000";
        // Catches a chain that outlives its window.
        QTest::newRow("window closed") << QList<QByteArray>{"refer: @2:4321\n", "part\n", none, none, none} << 1 << true << true
                                       << "refer: @2:4321\r\n\r\nReferred to @2 (port 4321):\r\n" << "1000";
        // Catches a referred server's endless answer kept beyond the cap (checked by its end).
        QTest::newRow("size cap") << QList<QByteArray>{"refer: @2:4321\n", "0123456789abcdef", none, none, none} << -1 << false << true
                                  << "0123456789abcdef" + whois::answerCutNote() + "\r\n" << "1000";
    }
    void chain()
    {
        QFETCH(QList<QByteArray>, answers);
        QFETCH(int, hold);
        QFETCH(bool, closeWindow);
        QFETCH(bool, follow);
        QFETCH(QString, shown);
        QFETCH(QString, connections);
        const QString at = freshPrefix();
        const bool endless = QByteArray(QTest::currentDataTag()) == "size cap";
        std::vector<std::unique_ptr<Server>> servers;
        for (int i = 0; i < answers.size(); ++i) {
            const auto mode = i == hold ? Server::Hold : endless && i == 1 ? Server::Endless : Server::Close;
            servers.push_back(answers[i].isNull() ? nullptr
                                                  : std::make_unique<Server>(at + QString::number(i + 1), i ? 4321 : 0,
                                                                             QByteArray(answers[i]).replace("@", at.toLatin1()), mode));
            QVERIFY(!servers.back() || servers.back()->listening);
        }
        WhoisPage page;
        page.form->setFollowReferrals(follow);
        GapMeter meter;
        page.query(at + '1', servers[0]->server.serverPort());
        if (hold >= 0) {
            QTRY_VERIFY(servers[hold]->received.endsWith("\r\n"));
            QTest::qWait(50);
            QVERIFY(!page.idle());
            closeWindow ? void(page.form->close()) : page.timer->fire();
            QTRY_VERIFY(servers[hold]->clientGone);
        }
        if (!closeWindow)
            QTRY_VERIFY_WITH_TIMEOUT(page.idle(), 30000);
        const QString expected = QString(shown).replace(u'@', at);
        QCOMPARE(endless ? page.shown().right(expected.size()) : page.shown(), expected);
        QString made;
        for (size_t i = 1; i < servers.size(); ++i) {
            made += QString::number(servers[i] ? servers[i]->connections : 0);
            QVERIFY(!servers[i] || !servers[i]->connections || servers[i]->received == "example.test\r\n");
        }
        QCOMPARE(made, connections);
#ifndef PATHLARK_SANITIZED
        QVERIFY2(meter.longest < 500, qPrintable(QStringLiteral("the UI thread stalled %1 ms").arg(meter.longest)));
#endif
    }

    // Catches "Follow Referrals" missing from the result box's menu on the Whois page, shown on
    // others, or not on at start.
    void menuEntry()
    {
        FormHarness h;
        const auto entry = [&h] {
            for (QAction* action : h.textBox()->actions())
                if (action->text() == "Follow Referrals")
                    return action;
            return static_cast<QAction*>(nullptr);
        };
        QVERIFY(entry() && entry()->isCheckable() && entry()->isChecked());
        h.openTab(2);
        QVERIFY(!entry()->isVisible());
        h.openTab(3);
        QVERIFY(entry()->isVisible());
        h.form->setFollowReferrals(false);
        QVERIFY(!entry()->isChecked());
    }

    // Catches a referral to this computer followed when the typed server is elsewhere (the safety
    // rule checked on the resolved address, before connecting), or a name with no address waited for.
    void fromElsewhere()
    {
        NetLab lab("bare");
        NETLAB_REQUIRE(lab);
        QCOMPARE(QProcess::execute("ip", {"-n", lab.name("h"), "addr", "add", "198.18.0.1/32", "dev", "lo"}), 0);
        // This thread, and the sockets and lookup threads it makes, go into the lab's namespace.
        const int home = ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
        const int there = ::open(qPrintable("/run/netns/" + lab.name("h")), O_RDONLY | O_CLOEXEC);
        QVERIFY(home >= 0 && there >= 0 && ::setns(there, CLONE_NEWNET) == 0);
        const auto back = qScopeGuard([&] { ::setns(home, CLONE_NEWNET), ::close(home), ::close(there); });
        for (const auto& [referral, line] : {std::pair("refer: 127.0.0.1:4321\n", "127.0.0.1 (port 4321) not followed, its address is on this computer."),
                                             {"refer: localhost:4321\n", "localhost (port 4321) not followed, its address is on this computer."},
                                             {"refer: no-such-host.invalid\n", "no-such-host.invalid has no address."}}) {
            Server typed("198.18.0.1", 0, referral, Server::Close), local("127.0.0.1", 4321, "secret\n", Server::Close);
            QVERIFY(typed.listening && local.listening);
            WhoisPage page;
            page.query("198.18.0.1", typed.server.serverPort());
            QTRY_VERIFY_WITH_TIMEOUT(page.idle(), 20000);
            QVERIFY2(page.shown().endsWith(QStringLiteral("\r\nThe referral ends here: ") + line + "\r\n"), qPrintable(page.shown()));
            QCOMPARE(local.connections, 0);
        }
    }
};

QTEST_MAIN(TestReferralChain)
#include "tst_referral_chain.moc"
