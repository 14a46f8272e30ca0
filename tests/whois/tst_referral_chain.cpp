// The Whois page following referrals, driven as a user would, against servers of the test's own:
// on loopback addresses of their own (127.N.M.x, rwhois's port 4321 for the referred ones), and in
// a lab namespace for a typed server that is not on this computer.
#include "NetLab.h"
#include "WhoisServer.h"
#include "whois/Whois.h"

#include <QAction>
#include <QScopeGuard>
#include <QtTest>

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace {

// 127.N.M. with M new for each call: servers of one case never meet another case's or run's.
QString freshPrefix()
{
    static int next = 0;
    return QStringLiteral("127.%1.%2.").arg(100 + ::getpid() % 150).arg(++next);
}

} // namespace

class TestReferralChain : public QObject {
    Q_OBJECT
private slots:
    void chain_data()
    {
        // Answers of the typed server (@1) and of @2..@5 on port 4321 ("-": nobody listens there), "@"
        // standing for the case's 127.N.M.; the server that holds until the time-out fires ("t") or the
        // window closes ("w"), or streams its answer endlessly ("e"); what the box shows at the end.
        QTest::addColumn<QByteArrayList>("answers");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("connections");   // to @2..@5
        const QString limit = "\r\nReferral to @5 (port 4321) not followed: at most 3 referrals are followed.\r\n";
        // Catches a form not followed down a real chain, the first answer changed, more than three hops.
        QTest::newRow("three, then the limit") << QByteArrayList{"a\r\nrefer: @2:4321\r\n", "ReferralServer: rwhois://@3\n",
            "% referto: whois -h @4 -p 4321 x\n", "Domain Name: X\nRegistrar WHOIS Server: @5:4321\n", "never\n"}
            << "a\r\r\nrefer: @2:4321\r\r\n\r\nReferred to @2 (port 4321):\r\nReferralServer: rwhois://@3\r\n\r\nReferred to @3 (port 4321):\r\n"
               "% referto: whois -h @4 -p 4321 x\r\n\r\nReferred to @4 (port 4321):\r\nDomain Name: X\r\nRegistrar WHOIS Server: @5:4321\r\n" + limit << "1110";
        // Catches Follow Referrals unchecked (or --no-referrals) still asking the next server.
        QTest::newRow("turned off") << QByteArrayList{"refer: @2:4321\n", "x\n", "off"} << "refer: @2:4321\r\n" << "0";
        // Catches a loop asked round again, a dead or unsafe server waited for or asked.
        QTest::newRow("loop") << QByteArrayList{"refer: @2:4321\n", "refer: @3:4321\n", "refer: @2:4321\n"}
            << "refer: @2:4321\r\n\r\nReferred to @2 (port 4321):\r\nrefer: @3:4321\r\n\r\nReferred to @3 (port 4321):\r\n"
               "refer: @2:4321\r\n\r\nReferral to @2 (port 4321) not followed: that server was asked already.\r\n" << "11";
        QTest::newRow("dead registrar") << QByteArrayList{"refer: @2:4321\n", "-"} << "refer: @2:4321\r\n\r\nReferred to @2 (port 4321):\r\n\r\n"
            "The referral ends here: @2 (port 4321) refused the connection or could not be reached.\r\n" << "0";
        QTest::newRow("other port") << QByteArrayList{"ReferralServer: whois://@2:8080\n", "x\n"}
            << "ReferralServer: whois://@2:8080\r\n\r\nReferral to @2 (port 8080) not followed: only ports 43 and 4321 are followed.\r\n" << "0";
        // Catches a referred server's time-out lost, its part answer shown, the earlier ones gone, or a
        // chain that outlives its window.
        const QString asked = "refer: @2:4321\r\n\r\nReferred to @2 (port 4321):\r\n";
        QTest::newRow("time-out") << QByteArrayList{"refer: @2:4321\n", "t part\n"} << asked + "\r\n" + kTimedOut + "\r\n" << "1";
        QTest::newRow("window closed") << QByteArrayList{"refer: @2:4321\n", "w part\n"} << asked << "1";
        // Catches a referred server's endless answer kept beyond the cap (checked by its end).
        QTest::newRow("size cap") << QByteArrayList{"refer: @2:4321\n", "e 0123456789abcdef"}
                                  << "0123456789abcdef" + whois::answerCutNote(whois::kReferredAnswerCap) + "\r\n" << "1";
    }
    void chain()
    {
        QFETCH(QByteArrayList, answers);
        QFETCH(QString, shown);
        QFETCH(QString, connections);
        const QString at = freshPrefix();
        const bool follow = answers.removeAll("off") == 0;
        std::vector<std::unique_ptr<Server>> servers;
        QByteArray how;   // the last server's way of answering, if special
        for (qsizetype i = 0; i < answers.size(); ++i) {
            QByteArray answer = answers[i].replace("@", at.toLatin1());
            if (answer.size() > 1 && answer[1] == ' ' && QByteArray("twe").contains(answer[0]))
                how = answer.left(1), answer.remove(0, 2);
            const auto mode = how == "e" ? Server::Endless : how.isEmpty() ? Server::Close : Server::Hold;
            servers.push_back(answer == "-" ? nullptr : std::make_unique<Server>(answer, mode, 0, QHostAddress(at + QString::number(i + 1)), i ? 4321 : 0));
            QVERIFY(!servers.back() || servers.back()->listening);
        }
        WhoisPage page;
        page.form->setFollowReferrals(follow);
        QElapsedTimer clock;
        qint64 longestGap = 0;
        QTimer ticker;
        QObject::connect(&ticker, &QTimer::timeout, [&] { longestGap = std::max(longestGap, clock.restart()); });
        clock.start(), ticker.start(5);
        page.query(QStringLiteral("example.test"), at + '1', QString::number(servers[0]->port()));
        if (how == "t" || how == "w") {
            QTRY_VERIFY(servers.back()->received.endsWith("\r\n"));
            QVERIFY(page.querying());
            how == "w" ? void(page.form->close()) : page.timer->fire();
            QTRY_VERIFY(servers.back()->clientGone);
        } else {
            QTRY_VERIFY_WITH_TIMEOUT(page.idle(), 30000);
        }
        const QString expected = QString(shown).replace(u'@', at);
        QCOMPARE(how == "e" ? page.shown().right(expected.size()) : page.shown(), expected);
        QVERIFY(page.shown().size() < 2 * whois::kReferredAnswerCap);
        QString made;
        for (size_t i = 1; i < servers.size(); ++i) {
            made += QString::number(servers[i] ? servers[i]->connections : 0);
            QVERIFY(!servers[i] || !servers[i]->connections || servers[i]->received == "example.test\r\n");
        }
        QCOMPARE(made, connections);
#ifndef PATHLARK_SANITIZED
        QVERIFY2(longestGap < 500, qPrintable(QStringLiteral("the UI thread stalled %1 ms").arg(longestGap)));
#endif
    }

    // Catches "Follow Referrals" missing from the result box's menu, shown on other pages, or off at start.
    void menuEntry()
    {
        FormHarness h;
        const QList<QAction*> actions = h.textBox()->actions();
        QAction* entry = *std::ranges::find(actions, QStringLiteral("Follow Referrals"), &QAction::text);
        QVERIFY(entry->isCheckable() && entry->isChecked());
        h.openTab(2);
        QVERIFY(!entry->isVisible());
        h.openTab(3);
        QVERIFY(entry->isVisible());
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
            Server typed(referral, Server::Close, 0, QHostAddress("198.18.0.1")), local("secret\n", Server::Close, 0, QHostAddress::LocalHost, 4321);
            QVERIFY(typed.listening && local.listening);
            WhoisPage page;
            page.query(QStringLiteral("example.test"), QStringLiteral("198.18.0.1"), QString::number(typed.port()));
            QTRY_VERIFY_WITH_TIMEOUT(page.idle(), 20000);
            QVERIFY2(page.shown().endsWith(QStringLiteral("\r\nThe referral ends here: ") + line + "\r\n"), qPrintable(page.shown()));
            QCOMPARE(local.connections, 0);
        }
    }
};

QTEST_MAIN(TestReferralChain)
#include "tst_referral_chain.moc"
