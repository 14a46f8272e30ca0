// The whois answer's bytes, and the Whois page driven as a user would against servers on 127.0.0.1.
#include "WhoisPage.h"
#include "whois/WhoisAnswer.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>

namespace {

const QString kTimedOut =
    QStringLiteral("For some reason we did not get a response back from the whois server within 30 secs.");

// A whois server on the test's own event loop. Once the query line is in, it sends the answer
// (in pieces a millisecond apart if asked) and closes, or holds the connection open, or
// streams lines until the client goes.
struct Server {
    enum Mode { Close, Hold, Endless };
    explicit Server(QByteArray answer = {}, Mode mode = Close, int pieceSize = 0)
        : answer(std::move(answer)), mode(mode), pieceSize(pieceSize)
    {
        server.listen(QHostAddress::LocalHost);
        QObject::connect(&server, &QTcpServer::newConnection, [this] {
            client = server.nextPendingConnection();
            QObject::connect(client, &QTcpSocket::disconnected, [this] { clientGone = true; });
            QObject::connect(client, &QTcpSocket::bytesWritten, [this] { stream(); });
            QObject::connect(client, &QTcpSocket::readyRead, [this] {
                received += client->readAll();
                if (received.endsWith("\r\n"))
                    this->mode == Endless ? stream() : send(0);
            });
        });
    }
    quint16 port() const { return server.serverPort(); }
    void send(qsizetype from)
    {
        const qsizetype size = pieceSize ? pieceSize : answer.size();
        client->write(answer.mid(from, size));
        if (from + size < answer.size())
            QTimer::singleShot(1, client, [this, from, size] { send(from + size); });
        else if (mode == Close)
            client->disconnectFromHost();
    }
    void stream()
    {
        while (mode == Endless && client->state() == QAbstractSocket::ConnectedState && client->bytesToWrite() < 1 << 20)
            client->write(QByteArray("endless stream of whois lines\r\n").repeated(2048));
    }

    QByteArray answer;
    Mode mode;
    int pieceSize;
    QByteArray received;
    bool clientGone = false;   // the connection has ended, by either side
    QPointer<QTcpSocket> client;
    QTcpServer server;
};

} // namespace

class TestWhois : public QObject {
    Q_OBJECT
private slots:
    // Catches a line-end conversion that skips, doubles or misplaces a CR, or drops bytes.
    void addCr_data()
    {
        QTest::addColumn<QByteArray>("in");
        QTest::addColumn<QByteArray>("out");
        const QByteArray chunk(64 * 1024 - 1, 'a');
        QTest::newRow("empty stays empty") << QByteArray() << QByteArray();
        QTest::newRow("no line end") << QByteArray("abc") << QByteArray("abc");
        QTest::newRow("CR LF gets its own CR") << QByteArray("a\r\nb\r\n") << QByteArray("a\r\r\nb\r\r\n");
        QTest::newRow("NUL bytes kept") << QByteArray("a\0\nb\0", 5) << QByteArray("a\0\r\nb\0", 6);
        QTest::newRow("LFs around 64 kB") << chunk + "\n\nb\n" + chunk + "\n"
                                          << chunk + "\r\n\r\nb\r\n" + chunk + "\r\n";
        // Random LF, CR and letters against a byte-by-byte conversion; every tenth spans several 64 kB chunks.
        QRandomGenerator random(5);
        for (int round = 0; round < 400; ++round) {
            QByteArray in(round % 10 ? random.bounded(80) : random.bounded(60000, 200000), Qt::Uninitialized);
            QByteArray out;
            for (char& c : in) {
                c = "\n\rab"[random.bounded(4)];
                if (c == '\n')
                    out += '\r';
                out += c;
            }
            QTest::addRow("random %d", round) << in << out;
        }
    }
    void addCr()
    {
        QFETCH(QByteArray, in);
        QFETCH(QByteArray, out);
        QCOMPARE(whois::WI_AddCR(in), out);
    }

    // Catches a cut that splits a UTF-8 letter (the whole answer would turn Latin-1) or passes the cap.
    void answerCut_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("cap");
        QTest::addColumn<int>("kept");
        QTest::newRow("under the cap") << QByteArray("abc") << 5 << 3;
        QTest::newRow("two-byte letter split") << QByteArray("abcd\xc3\xbc") << 5 << 4;
        QTest::newRow("two-byte letter whole") << QByteArray("abc\xc3\xbcx") << 5 << 5;
        QTest::newRow("four bytes, 3 kept") << QByteArray("ab\xf0\x9f\x8c\x8d") << 5 << 2;
        QTest::newRow("Latin-1 high bytes") << QByteArray("a\xa9\xa9\xa9\xa9\xa9") << 4 << 4;
    }
    void answerCut()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, cap);
        QFETCH(int, kept);
        QCOMPARE(whois::answerCut(bytes, cap), qsizetype(kept));
    }

    // Catches an answer shown with wrong line ends or letters (UTF-8 as such, else byte for byte), shown
    // early, or a page left busy; a wrong slash trim, a query line other than the box and CR LF.
    void query_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QByteArray>("sent");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<int>("pieceSize");
        QTest::addColumn<QString>("shown");
        const auto answer = [](const char* name, const QByteArray& bytes, int pieceSize, const QString& shown) {
            QTest::newRow(name) << "example.org" << QByteArray("example.org\r\n") << bytes << pieceSize << shown;
        };
        const QByteArray line("Registrant Street: 1 Example Road\n");
        const QByteArray big = line.repeated(5 * 1024 * 1024 / line.size());
        QByteArray all;
        for (int b = 0; b < 256; ++b)
            all += char(b);
        answer("LF lines", "Domain: EXAMPLE.ORG\nStatus: ok\n", 0, "Domain: EXAMPLE.ORG\r\nStatus: ok\r\n");
        answer("CR LF lines", "Domain: EXAMPLE.ORG\r\nStatus: ok\r\n", 0, "Domain: EXAMPLE.ORG\r\r\nStatus: ok\r\r\n");
        answer("empty", {}, 0, {});
        answer("many small pieces", QByteArray("line one\nline two\r\n").repeated(20), 3,
               QStringLiteral("line one\r\nline two\r\r\n").repeated(20));
        answer("UTF-8, letters split across pieces", "City: M\xc3\xbcnchen\n", 8, QStringLiteral("City: München\r\n"));
        answer("Latin-1", "City: M\xfcnchen\n", 0, QStringLiteral("City: München\r\n"));
        answer("UTF-8 then a Latin-1 byte", "\xc3\xbc \xfc", 0, QStringLiteral("\u00c3\u00bc \u00fc"));
        answer("UTF-8 cut short at the end", "ab\xc3", 0, QStringLiteral("ab\u00c3"));
        answer("surrogate in UTF-8 form", "\xed\xa0\x80", 0, QStringLiteral("\u00ed\u00a0\u0080"));
        answer("byte-order mark kept", "\xef\xbb\xbfx", 0, QStringLiteral("\ufeffx"));
        answer("every byte value, NUL first", all, 0, QString::fromLatin1(all).replace(u'\n', QStringLiteral("\r\n")));
        answer("5 MB", big, 0, QString::fromLatin1(big).replace(u'\n', QStringLiteral("\r\n")));
        for (const auto& [typed, sent] : {std::pair("abc/", "abc"), {"ab/c", "ab"}, {"a/bc", "a/bc"}, {"abc//", "abc"},
                                          {"", ""}, {"a", "a"}, {"/", "/"}, {"münchen.de/", "münchen.de"}})
            QTest::addRow("typed \"%s\"", typed) << QString(typed) << QByteArray(sent) + "\r\n" << QByteArray("ok\n") << 0
                                                << QStringLiteral("ok\r\n");
    }
    void query()
    {
        QFETCH(QString, typed);
        QFETCH(QByteArray, sent);
        QFETCH(QByteArray, answer);
        QFETCH(int, pieceSize);
        QFETCH(QString, shown);
        Server server(answer, Server::Close, pieceSize);
        WhoisPage page;
        page.form().HostResponse->setText(QStringLiteral("left by another page"));
        page.form().HostResponse->hide();
        page.query(typed, QStringLiteral("localhost"), QString::number(server.port()));   // from the hosts file
        QCOMPARE(page.form().Text1->text(), QString::fromUtf8(sent.chopped(2)));
        QVERIFY(page.querying());
        QVERIFY(page.form().HostResponse->isVisible());
        QCOMPARE(page.shown(), QString());
        QVERIFY(page.harness.timer->isEnabled() && page.harness.timer->interval() == 30000);

        QTRY_VERIFY_WITH_TIMEOUT(page.idle(), 20000);
        QCOMPARE(server.received, sent);
        QCOMPARE(page.shown(), shown);
        // On screen, each run of CRs with its LF is one line break; a no-break space reads as a space.
        QString onScreen = QString(shown).replace(QRegularExpression(QStringLiteral("\r+\n?")), QStringLiteral("\n"));
        QCOMPARE(page.form().HostResponse->toPlainText(), onScreen.replace(u'\u00a0', u' '));
    }

    // Catches a query that hangs or outlives the window, shows a partial or late answer, keeps the
    // connection, or leaves the old answer behind.
    void unfinishedQuery_data()
    {
        QTest::addColumn<QString>("serverName");
        QTest::addColumn<bool>("listening");
        QTest::addColumn<bool>("closeWindow");   // instead of the time-out
        QTest::newRow("server that never finishes") << "127.0.0.1" << true << false;
        QTest::newRow("refused port") << "127.0.0.1" << false << false;
        QTest::newRow("empty name") << "" << false << false;
        QTest::newRow("1000-character name") << QString(1000, u'w') << false << false;
        QTest::newRow("name with a 64-character label") << QString(64, u'a') + QStringLiteral(".example") << false << false;
        QTest::newRow("window closed during the query") << "127.0.0.1" << true << true;
    }
    void unfinishedQuery()
    {
        QFETCH(QString, serverName);
        QFETCH(bool, listening);
        QFETCH(bool, closeWindow);
        Server server("partial answer\n", Server::Hold);
        WhoisPage page;
        page.query(QStringLiteral("example.org"), serverName, QString::number(listening ? server.port() : Server().port()));
        QTest::qWait(200);
        QCOMPARE(page.form().ResponseText, listening ? QByteArray("partial answer\n") : QByteArray());
        QVERIFY(page.querying());
        QCOMPARE(page.shown(), QString());
        closeWindow ? void(page.form().close()) : page.harness.timer->fire();
        QCOMPARE(page.shown(), closeWindow ? QString() : kTimedOut);
        QTRY_COMPARE(server.clientGone, listening);
        if (closeWindow)
            return;
        QVERIFY(page.idle());

        // The next query starts from nothing.
        Server second("second answer\n");
        page.query(QStringLiteral("example.net"), second.port());
        QCOMPARE(page.shown(), QString());
        QTRY_VERIFY(page.idle());
        QCOMPARE(page.shown(), QStringLiteral("second answer\r\n"));
    }

    // Catches a runaway answer that eats memory or never ends the query.
    void endlessStreamIsCut()
    {
        Server server({}, Server::Endless);
        WhoisPage page;
        page.query(QStringLiteral("example.org"), server.port());
        QTRY_VERIFY_WITH_TIMEOUT(page.idle(), 60000);
        const QString note = QStringLiteral("\r\n\r\n[The answer was longer than 32 MB: only its first 32 MB are shown.]");
        QVERIFY(page.shown().endsWith(note));
        const qsizetype lineFeeds = page.form().ResponseText.count('\n');
        QCOMPARE(page.form().ResponseText.size() - lineFeeds, whois::kAnswerCap);
        QTRY_VERIFY(server.clientGone);
        QVERIFY(!page.harness.timer->isEnabled());
    }

    // Catches a bad port (or no connection) that leaves the button disabled or the hourglass on,
    // still connects or clears the answer; or a good port refused or misread.
    void portAndConnection_data()
    {
        QTest::addColumn<bool>("online");
        QTest::addColumn<QString>("port");
        QTest::addColumn<int>("expected");   // the port connected to; -1 for none
        QTest::addColumn<QString>("message");
        const QString bad = QStringLiteral("The port number must be a whole number from 0 to 65535.");
        for (const QString typed : {"", "  ", "abc", "43x", "-1", "+43", "4 3", "65536", "99999999999", "\u0664\u0663"})
            QTest::addRow("\"%s\"", qPrintable(typed)) << true << typed << -1 << bad;
        for (const auto& [typed, port] : {std::pair("0", 0), {"43", 43}, {" 4321 ", 4321}, {"000043", 43}, {"65535", 65535}})
            QTest::addRow("\"%s\"", typed) << true << QString(typed) << port << QString();
        QTest::newRow("not connected") << false << "43" << -1
                                       << "You must connected to the Internet for this function to work properly.";
    }
    void portAndConnection()
    {
        QFETCH(bool, online);
        QFETCH(QString, port);
        QFETCH(int, expected);
        QFETCH(QString, message);
        FormHarness h(true, online);
        h.messageBox.shown.clear();
        h.form->HostResponse->setText(QStringLiteral("earlier answer"));
        h.form->Text3->setText(port);
        bool busyWhileShown = false;
        h.messageBox.onShow = [&](const auto&) { busyWhileShown = h.busyPointer.isBusy() || !h.form->Command1->isEnabled(); };
        QTest::mouseClick(h.form->Command1, Qt::LeftButton);
        QCOMPARE(h.tcp->connects ? h.tcp->remotePort : -1, expected);
        QCOMPARE(h.messageBox.shown.size(), size_t(message.isEmpty() ? 0 : 1));
        for (const FakeMessageBox::Shown& box : h.messageBox.shown)
            QCOMPARE(QStringList({box.prompt, QString::number(box.flags), box.title}), QStringList({message, "0", "Pathlark"}));
        QVERIFY(!busyWhileShown);
        QCOMPARE(h.form->Command1->isEnabled(), expected < 0);
        QCOMPARE(h.busyPointer.isBusy(), expected >= 0);
        QCOMPARE(h.form->HostResponse->text(), expected < 0 ? QStringLiteral("earlier answer") : QString());
    }

    // Catches a real timer that still ticks once disabled (the time-out would replace an answer shown),
    // or one that fires early, late or never (30 s).
    void realTimerStopsWhenDisabled()
    {
        QtTimer timer;
        int ticks = 0;
        QObject::connect(&timer, &Timer::tick, [&] { ++ticks; });
        timer.setInterval(50);
        timer.setEnabled(true);
        QTRY_COMPARE(ticks, 1);
        timer.setEnabled(false);
        QTest::qWait(150);
        QCOMPARE(ticks, 1);
    }
    void realTimerTimesOutAfter30Seconds()
    {
        if (qEnvironmentVariableIsEmpty("PATHLARK_WHOIS_REAL_TIMER"))
            QSKIP("takes 30 s; runs as its own test (tst_whois_real_timeout) in the optimised build");
        Server server({}, Server::Hold);
        WhoisPage page(true);
        QElapsedTimer clock;
        clock.start();
        page.query(QString(), server.port());
        QTRY_COMPARE_WITH_TIMEOUT(page.shown(), kTimedOut, 40000);
        QVERIFY2(clock.elapsed() >= 29900 && clock.elapsed() <= 31500, qPrintable(QString::number(clock.elapsed())));
        QVERIFY(page.idle());
        QTRY_VERIFY(server.clientGone);
    }
};

QTEST_MAIN(TestWhois)
#include "tst_whois.moc"
