#pragma once
#include "TcpControl.h"

#include <QTcpSocket>

// The TCP connection over QTcpSocket. Each Connect() uses a fresh socket, so nothing
// of an earlier connection (buffered data, late signals) can reach the next one. A server's
// name is looked up on a thread of its own (IPv4 and IPv6), never in Qt's lookup pool, which
// the program would wait for at its end: a dead name server must not keep a closed window's
// process alive.
class QtTcpControl final : public TcpControl {
    Q_OBJECT
public:
    explicit QtTcpControl(QObject* parent = nullptr);

    qint16 State() const override { return m_state; }
    void Close() override;
    void setRemoteHost(const QString& host) override { m_host = host; }
    void setRemotePort(qint32 port) override { m_port = port; }
    void Connect() override;
    void SendData(const QByteArray& data) override;
    void GetData(QByteArray& data) override;

private:
    void connectToNext();
    void onReadyRead();
    void onDisconnected();
    void onErrorOccurred(QAbstractSocket::SocketError error);

    QTcpSocket* m_socket = nullptr;
    QList<QHostAddress> m_addresses;   // still to try, in the resolver's order
    quint64 m_attempt = 0;             // tells a lookup of an earlier Connect() apart
    QString m_host;
    qint32 m_port = 0;
    qint16 m_state = kClosed;
};
