#pragma once
#include "platform/TcpControl.h"

// A TCP connection that only records the attempt: it never connects.
class FakeTcpControl final : public TcpControl {
    Q_OBJECT
public:
    using TcpControl::TcpControl;

    qint16 State() const override { return state; }
    void Close() override { ++closes; state = 0; }
    void setRemoteHost(const QString&) override {}
    void setRemotePort(qint32 port) override { remotePort = port; }
    void Connect() override { ++connects; state = 6; }
    void SendData(const QByteArray&) override {}
    void GetData(QByteArray& data) override { data.clear(); }

    qint16 state = 0;
    int closes = 0;
    int connects = 0;
    qint32 remotePort = 0;
};
