// The whois answer's bytes, and the Whois page driven as a user would against servers on
// 127.0.0.1: ordinary answers, hostile ones, and servers that never finish.
#include "FormHarness.h"
#include "app/MultiLineTextBox.h"
#include "platform/ui/QtDialogs.h"
#include "platform/QtTcpControl.h"
#include "platform/QtTimer.h"
#include "whois/WhoisAnswer.h"

#include <QAccessible>
#include <QClipboard>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QPointer>
#include <QRandomGenerator>
#include <QTabWidget>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <fstream>

namespace {

const QString kTimedOut =
    QStringLiteral("For some reason we did not get a response back from the whois server within 30 secs.");

// A whois server on the test's own event loop. Once the query line is in, it sends the answer
// (in pieces a millisecond apart if asked) and closes, or holds the connection open, or
// streams `answer` over and over until the client goes.
struct Server {
    enum Mode { Close, Hold, Endless };
    explicit Server(QByteArray answer = {}, Mode mode = Close, int pieceSize = 0,
                    const QHostAddress& address = QHostAddress::LocalHost)
        : answer(std::move(answer)), mode(mode), pieceSize(pieceSize)
    {
        server.listen(address);
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
            client->write(answer.repeated(std::max<qsizetype>(1, 65536 / answer.size())));
    }

    QByteArray answer;
    Mode mode;
    int pieceSize;
    QByteArray received;
    bool clientGone = false;   // the connection has ended, by either side
    QPointer<QTcpSocket> client;
    QTcpServer server;
};

// The window on fakes but with the real TCP connection (and, if asked, the real timer), the
// Whois page in front.
struct Page : FormHarness {
    explicit Page(bool realTimer = false)
        : FormHarness({.adjust = [realTimer](Platform& p) {
            p.createTcpControl = [](QObject* parent) { return new QtTcpControl(parent); };
            if (realTimer)
                p.createTimer = [](QObject* parent) { return new QtTimer(parent); };
        }})
    {
        form->show();
        find<QTabWidget>("SSTab1")->setCurrentIndex(3);
    }
    void query(const QString& domain, const QString& server, const QString& port)
    {
        // Key clicks carry ASCII only; other letters come in as if pasted.
        for (const auto& [box, text] : {std::pair(edit("Text1"), domain), {edit("Text2"), server}, {edit("Text3"), port}}) {
            box->clear();
            text.toLatin1() == text.toUtf8() && !text.contains(u'\r') && !text.contains(u'\n') ? QTest::keyClicks(box, text)
                                                                                       : box->insert(text);
        }
        QTest::mouseClick(button("Command1"), Qt::LeftButton);
    }
    void query(const QString& domain, quint16 port) { query(domain, QStringLiteral("127.0.0.1"), QString::number(port)); }
    QString shown() const { return textBox()->text(); }
    QString onScreen() const { return textBox()->document()->toPlainText(); }
    bool idle() const { return button("Command1")->isEnabled() && !busyPointer.isBusy() && textBox()->isShown(); }
    bool querying() const { return !button("Command1")->isEnabled() && busyPointer.isBusy(); }
};

long peakKb()
{
    std::ifstream status("/proc/self/status");
    std::string key;
    long kb = 0;
    while (status >> key && key != "VmHWM:") {
    }
    status >> kb;
    return kb;
}

} // namespace

class TestWhois : public QObject {
    Q_OBJECT
private slots:
    // Catches a line-end conversion that skips, doubles or misplaces a CR, or drops bytes.
    void addCr_data()
    {
        QTest::addColumn<QByteArray>("in");
        QTest::addColumn<QByteArray>("out");
        QTest::newRow("empty stays empty") << QByteArray() << QByteArray();
        QTest::newRow("no line end") << QByteArray("abc") << QByteArray("abc");
        QTest::newRow("CR LF gets its own CR") << QByteArray("a\r\nb\r\n") << QByteArray("a\r\r\nb\r\r\n");
        QTest::newRow("NUL bytes kept") << QByteArray("a\0\nb\0", 5) << QByteArray("a\0\r\nb\0", 6);
        QTest::newRow("line feeds only") << QByteArray("\n\n\n") << QByteArray("\r\n\r\n\r\n");
        // Random LF, CR and letters against a byte-by-byte conversion.
        QRandomGenerator random(5);
        for (int round = 0; round < 200; ++round) {
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
        whois::WI_AddCR(in);
        QTEST(in, "out");
    }

    // Catches a cut that splits a UTF-8 letter (the whole answer would turn Latin-1) or passes the cap.
    void answerCut()
    {
        const std::tuple<QByteArray, int, int> cases[] = {{"abc", 5, 3}, {"abcd\xc3\xbc", 5, 4}, {"abc\xc3\xbcx", 5, 5},
                                                          {"ab\xf0\x9f\x8c\x8d", 5, 2}, {"a\xa9\xa9\xa9\xa9\xa9", 4, 4}};
        for (const auto& [bytes, cap, kept] : cases)
            QCOMPARE(whois::answerCut(bytes, cap), qsizetype(kept));
    }

    // Catches an answer shown with wrong line ends or letters (UTF-8 as such, else byte for byte),
    // control characters hidden or drawn as boxes, an answer shown early or a page left busy; a
    // wrong slash trim, a query line other than the box's first line and CR LF.
    void query_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QByteArray>("sent");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<int>("pieceSize");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("onScreen");
        QTest::addColumn<QString>("server");
        const auto answer = [](const char* name, const QByteArray& bytes, int pieceSize, const QString& shown,
                               const QString& onScreen, const char* server = "localhost") {
            QTest::newRow(name) << "example.org" << QByteArray("example.org\r\n") << bytes << pieceSize << shown << onScreen
                                << server;
        };
        answer("server at an IPv6 address", "ok\n", 0, "ok\r\n", "ok\n", "::1");
        answer("LF lines", "Domain: EXAMPLE.ORG\nStatus: ok\n", 0, "Domain: EXAMPLE.ORG\r\nStatus: ok\r\n",
               "Domain: EXAMPLE.ORG\nStatus: ok\n");
        answer("CR LF lines", "a\r\nb\r\n\r\rc", 0, "a\r\r\nb\r\r\n\r\rc", "a\nb\n\nc");
        answer("empty", {}, 0, {}, {});
        answer("many small pieces", QByteArray("line one\nline two\r\n").repeated(20), 3,
               QStringLiteral("line one\r\nline two\r\r\n").repeated(20), QStringLiteral("line one\nline two\n").repeated(20));
        answer("UTF-8, letters split across pieces", "City: M\xc3\xbcnchen\n", 8, "City: München\r\n", "City: München\n");
        answer("Latin-1", "City: M\xfcnchen\n", 0, "City: München\r\n", "City: München\n");
        answer("UTF-8 then a Latin-1 byte", "\xc3\xbc \xfc", 0, "\u00c3\u00bc \u00fc", "\u00c3\u00bc \u00fc");
        answer("UTF-8 cut short at the end", "ab\xc3", 0, "ab\u00c3", "ab\u00c3");
        answer("byte-order mark kept", "\xef\xbb\xbfx", 0, QStringLiteral("\ufeffx"), QStringLiteral("\ufeffx"));
        answer("control characters shown", QByteArray("a\0b\x1b\x07\x08\x7f\x0b\tc", 10), 0,
               QString::fromLatin1("a\0b\x1b\x07\x08\x7f\x0b\tc", 10), "a\u2400b\u241b\u2407\u2408\u2421\u240b\tc");
        answer("bidirectional controls shown", "x\xe2\x80\xaey\xe2\x81\xa6z", 0, "x\u202ey\u2066z", "x\ufffdy\ufffdz");
        answer("Latin-1 C1 controls shown", "\x85\x9b\xe9", 0, "\u0085\u009b\u00e9", "\ufffd\ufffd\u00e9");
        for (const auto& [typed, sent] : {std::pair("abc/", "abc"), {"ab/c", "ab"}, {"a/bc", "a/bc"}, {"abc//", "abc"},
                                          {"", ""}, {"a", "a"}, {"/", "/"}, {"münchen.de/", "münchen.de"},
                                          {"example.org\r\nsecond line", "example.org"}, {"example.org\n", "example.org"}})
            QTest::addRow("typed \"%s\"", qPrintable(QString(typed).replace(u'\n', "\\n").replace(u'\r', "\\r")))
                << QString(typed) << QByteArray(sent) + "\r\n" << QByteArray("ok\n") << 0 << QStringLiteral("ok\r\n")
                << QStringLiteral("ok\n") << QStringLiteral("localhost");
    }
    void query()
    {
        QFETCH(QString, typed);
        QFETCH(QByteArray, sent);
        QFETCH(QByteArray, answer);
        QFETCH(int, pieceSize);
        QFETCH(QString, server);
        Server whois(answer, Server::Close, pieceSize, QHostAddress(server == "::1" ? server : "127.0.0.1"));
        Page page;
        page.textBox()->setText(QStringLiteral("left by another page"));
        page.textBox()->hide();
        page.query(typed, server, QString::number(whois.port()));   // localhost: from the hosts file
        QVERIFY(page.querying());
        QVERIFY(page.textBox()->isVisible());
        QCOMPARE(page.shown(), QString());
        QVERIFY(page.timer->isEnabled() && page.timer->interval() == 30000);

        QTRY_VERIFY_WITH_TIMEOUT(page.idle(), 20000);
        QCOMPARE(whois.received, sent);
        QTEST(page.shown(), "shown");
        QTEST(page.onScreen(), "onScreen");
    }

    // Catches a hostile answer that freezes the window (one long line, whose layout time grows
    // with its square; an endless stream), takes memory beyond a few times its size, or hides
    // part of itself from a screen reader or from a copy (a NUL, cuts made for layout).
    void hostileAnswer_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<bool>("endless");
        QTest::addColumn<qsizetype>("shownChars");   // on screen
        QTest::newRow("1 MiB in one line") << QByteArray(1 << 20, 'x') << false << qsizetype(1 << 20);
        QTest::newRow("a NUL, then more") << QByteArray("visible\0hidden?", 15).repeated(1000) << false << qsizetype(15000);
        QTest::newRow("endless stream without line ends") << QByteArray("0123456789") << true
                                                          << qsizetype(whois::kAnswerCap + whois::answerCutNote().size() - 4);
    }
    void hostileAnswer()
    {
        QFETCH(QByteArray, answer);
        QFETCH(bool, endless);
        Server server(answer, endless ? Server::Endless : Server::Close);
        Page page;
        QElapsedTimer clock;
        qint64 last = 0, longestGap = 0, closedAt = -1;
        QTimer ticker;
        QObject::connect(&ticker, &QTimer::timeout, [&] {
            longestGap = std::max(longestGap, clock.elapsed() - last);
            last = clock.elapsed();
            if (closedAt < 0 && server.clientGone)
                closedAt = last;
        });
        std::ofstream("/proc/self/clear_refs") << "5";   // the peak starts from here
        const long before = peakKb();
        ticker.start(5);
        clock.start();
        page.query(QStringLiteral("example.org"), server.port());
        QTRY_VERIFY_WITH_TIMEOUT(page.idle(), 60000);
        const qint64 shownAfter = clock.elapsed() - closedAt;
        const long peakAbove = peakKb() - before;
        // The benchmark holds these to 150 ms, 1 s and 3 s; here, with other tests on the same cores,
        // bounds a freeze cannot pass (a 1 MiB line used to take 43 s).
#ifndef PATHLARK_SANITIZED   // times and memory as users meet them, not under the sanitizers' weight
        QVERIFY2(longestGap < 500 && shownAfter < (endless ? 6000 : 3000),
                 qPrintable(QStringLiteral("UI stalled %1 ms; shown %2 ms after the close").arg(longestGap).arg(shownAfter)));
        // The answer's bytes and the document showing them, about 3x: a copy made on the way passes 4x.
        QVERIFY2(!endless || peakAbove < 4 * (whois::kAnswerCap >> 10), qPrintable(QString::number(peakAbove)));
#endif
        QFETCH(qsizetype, shownChars);
        QCOMPARE(page.onScreen().remove(u'\n').size(), shownChars);
        QVERIFY(!page.onScreen().contains(QChar(0)));
        // A screen reader gets the whole text; a copy of it all carries no cut made for layout.
        QAccessibleInterface* reader = QAccessible::queryAccessibleInterface(page.textBox());
        QCOMPARE(reader->textInterface()->characterCount(), page.textBox()->document()->characterCount() - 1);
        page.textBox()->selectAll();
        page.textBox()->copy();
        QCOMPARE(QGuiApplication::clipboard()->text().size(), qsizetype(endless ? shownChars + 2 : shownChars));
        Q_UNUSED(shownAfter);
        Q_UNUSED(peakAbove);
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
        Page page;
        page.query(QStringLiteral("example.org"), serverName, QString::number(listening ? server.port() : Server().port()));
        QTest::qWait(200);
        QVERIFY(page.querying());
        QCOMPARE(page.shown(), QString());
        closeWindow ? void(page.form->close()) : page.timer->fire();
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
        FormHarness h({.connected = online});
        h.messageBox.shown.clear();
        h.textBox()->setText(QStringLiteral("earlier answer"));
        h.edit("Text3")->setText(port);
        bool busyWhileShown = false;
        h.messageBox.onShow = [&](const auto&) { busyWhileShown = h.busyPointer.isBusy() || !h.button("Command1")->isEnabled(); };
        QTest::mouseClick(h.button("Command1"), Qt::LeftButton);
        QCOMPARE(h.tcp->connects ? h.tcp->remotePort : -1, expected);
        QCOMPARE(h.messageBox.shown.size(), size_t(message.isEmpty() ? 0 : 1));
        for (const FakeMessageBox::Shown& box : h.messageBox.shown)
            QCOMPARE(QStringList({box.prompt, QString::number(box.flags), box.title}), QStringList({message, "0", "Pathlark"}));
        QVERIFY(!busyWhileShown);
        QCOMPARE(h.button("Command1")->isEnabled(), expected < 0);
        QCOMPARE(h.busyPointer.isBusy(), expected >= 0);
        QCOMPARE(h.textBox()->text(), expected < 0 ? QStringLiteral("earlier answer") : QString());
    }

    // Catches a message box that reads what the user typed as markup (bold text, an image
    // loaded from a file).
    void messageBoxShowsPlainText()
    {
        const QString typed = QStringLiteral("<b>bold</b><img src=\"/etc/hostname\"> is an invaild domain name.");
        QString label;
        QTimer::singleShot(0, [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            label = box && box->textFormat() == Qt::PlainText ? box->text() : QString();
            if (box)
                box->accept();
        });
        QtMessageBox().show(nullptr, typed, 0, QStringLiteral("Pathlark"));
        QCOMPARE(label, typed);
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
        Page page(true);
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
