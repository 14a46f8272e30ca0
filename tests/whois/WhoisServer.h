#pragma once
// A whois server of the test's own and the Whois page on the real TCP connection.
#include "FormHarness.h"
#include "platform/Controls.h"

#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>

#include <algorithm>

namespace {

const QString kTimedOut = "For some reason we did not get a response back from the whois server within 30 secs.";

// A whois server on the test's own event loop. Once the query line is in, it sends the answer
// (in pieces a millisecond apart if asked) and closes, or holds the connection open, or
// streams `answer` over and over until the client goes.
struct Server {
    enum Mode { Close, Hold, Endless };
    explicit Server(QByteArray answer = {}, Mode mode = Close, int pieceSize = 0,
                    const QHostAddress& address = QHostAddress::LocalHost, quint16 port = 0)
        : answer(std::move(answer)), mode(mode), pieceSize(pieceSize)
    {
        listening = server.listen(address, port);
        QObject::connect(&server, &QTcpServer::newConnection, [this] {
            client = server.nextPendingConnection();
            ++connections;
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

    QByteArray answer, received;
    Mode mode;
    int pieceSize;
    bool listening = false;
    bool clientGone = false;   // the connection has ended, by either side
    int connections = 0;
    QPointer<QTcpSocket> client;
    QTcpServer server;
};

// The window on fakes but with the real TCP connection, the Whois page in front.
struct WhoisPage : FormHarness {
    WhoisPage() : FormHarness({.adjust = [](Platform& p) { p.createTcpControl = [](QObject* o) { return new QtTcpControl(o); }; }})
    {
        form->show();
        openTab(3);
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
    QString shown() const { return textBox()->text(); }
    QString onScreen() const { return textBox()->document()->toPlainText(); }
    bool idle() const { return button("Command1")->isEnabled() && !busyPointer.isBusy() && textBox()->isShown(); }
    bool querying() const { return !button("Command1")->isEnabled() && busyPointer.isBusy(); }
};

} // namespace
