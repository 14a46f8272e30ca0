#pragma once
#include "platform/IcmpControl.h"

class InterfaceList;

// The real ICMP control.
class AxIcmp final : public IcmpControl {
    Q_OBJECT
public:
    AxIcmp(InterfaceList& interfaces, QObject* parent = nullptr);
    ~AxIcmp() override;

    QString HostAddress() const override { return m_hostAddress; }
    void setHostAddress(const QString& host) override { m_hostAddress = host; }
    qint16 CharsPerPacket() const override { return m_charsPerPacket; }
    QString LocalIP() const override;
    QString LocalHostName() const override;

    void Ping() override;
    void Trace() override;

private:
    InterfaceList& m_interfaces;
    QString m_hostAddress = QStringLiteral("127.0.0.1");
    qint16 m_charsPerPacket = 32;
};
