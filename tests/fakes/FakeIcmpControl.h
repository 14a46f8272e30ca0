#pragma once
#include "platform/IcmpControl.h"

// An ICMP control whose events the test raises by hand.
class FakeIcmpControl final : public IcmpControl {
    Q_OBJECT
public:
    using IcmpControl::IcmpControl;

    QString HostAddress() const override { return hostAddress; }
    void setHostAddress(const QString& host) override { hostAddress = host; }
    qint16 CharsPerPacket() const override { return 32; }
    QString LocalIP() const override { return localIp; }
    QString LocalHostName() const override { return localHostName; }
    void Ping() override { ++pings; }
    void Trace() override { ++traces; }

    // Raises TraceData and returns the Cancel the window handed back.
    Bool16 raiseTraceData(const QString& ip, const QString& name, const QString& time, const QString& description,
                          const QString& hop)
    {
        Bool16 cancel = kFalse16;
        emit TraceData(ip, name, time, description, 0, hop, &cancel);
        return cancel;
    }

    QString hostAddress = QStringLiteral("127.0.0.1");
    QString localIp = QStringLiteral("198.18.0.5");
    QString localHostName = QStringLiteral("alpha");
    int pings = 0;
    int traces = 0;
};
