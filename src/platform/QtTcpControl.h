#pragma once
#include "TcpControl.h"

#include <QTcpSocket>

// The TCP connection over QTcpSocket. Each Connect() uses a fresh socket, so nothing
// of an earlier connection (buffered data, late signals) can reach the next one.
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
    void onReadyRead();
    void onDisconnected();
    void onErrorOccurred(QAbstractSocket::SocketError error);

    QTcpSocket* m_socket = nullptr;
    QString m_host;
    qint32 m_port = 0;
    qint16 m_state = kClosed;
};
