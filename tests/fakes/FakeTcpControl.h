#pragma once
#include "platform/TcpControl.h"

// A TCP connection whose events the test raises by hand.
class FakeTcpControl final : public TcpControl {
    Q_OBJECT
public:
    using TcpControl::TcpControl;

    qint16 State() const override { return state; }
    void Close() override { ++closes; state = 0; }
    void setRemoteHost(const QString& host) override { remoteHost = host; }
    void setRemotePort(qint32 port) override { remotePort = port; }
    void Connect() override { ++connects; state = 6; }
    void SendData(const QByteArray& data) override { sent += data; }
    void GetData(QByteArray& data) override { data = waiting; waiting.clear(); }

    qint16 state = 0;
    int closes = 0;
    int connects = 0;
    QString remoteHost;
    qint32 remotePort = 0;
    QByteArray sent;
    QByteArray waiting;
};
