#pragma once
#include "TcpControl.h"

#include <QTcpSocket>

class QtTcpControl final : public TcpControl {
    Q_OBJECT
public:
    explicit QtTcpControl(QObject* parent = nullptr);

    qint16 State() const override;
    void Close() override;
    void setRemoteHost(const QString& host) override { m_host = host; }
    void setRemotePort(qint32 port) override { m_port = port; }
    void Connect() override;
    void SendData(const QByteArray& data) override;
    void GetData(QByteArray& data) override;

private:
    QTcpSocket* m_socket = nullptr;
    QString m_host;
    qint32 m_port = 0;
};
