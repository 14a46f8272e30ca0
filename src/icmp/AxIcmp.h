#pragma once
#include "ProbeRun.h"
#include "IcmpControl.h"

class InterfaceList;

// The real ICMP control: runs ping sequences and traces on the UI thread and raises their
// events there, turning the engine's numbers into the texts of its rows. One run at a time:
// a new Ping or Trace ends the one going quietly.
class AxIcmp final : public IcmpControl {
    Q_OBJECT
public:
    AxIcmp(InterfaceList& interfaces, const IcmpAdapters& adapters, QObject* parent = nullptr);
    ~AxIcmp() override;

    QString HostAddress() const override { return m_hostAddress; }
    void setHostAddress(const QString& host) override
    {
        m_hostAddress = host;
        m_target.clear();
    }
    void setTargetAddress(const QHostAddress& address) override { m_target = address; }
    qint16 CharsPerPacket() const override { return m_charsPerPacket; }
    QString LocalIP() const override;
    QString LocalHostName() const override;

    void Ping() override;
    void Trace() override;

    // For diagnostics and tests: whether a run is going, the socket kind of the latest
    // run, and the packets that reached our sockets without answering a probe.
    bool isRunning() const { return m_run != nullptr; }
    IcmpSocket::SocketType socketType() const { return m_socketType; }
    bool hasOpenSocket() const { return m_run && m_run->hasSocket(); }
    icmp::IgnoredCounts ignoredPackets() const;

private:
    enum class RunKind { Ping, Trace };

    void start(RunKind kind);
    void launch(RunKind kind, const QHostAddress& target);
    void endRun();
    void retire(ProbeRun* run);
    bool deliver(const RunReport& report, const QString& name);
    QString faultText(const RunReport& report) const;

    InterfaceList& m_interfaces;
    IcmpAdapters m_adapters;
    QString m_hostAddress = QStringLiteral("127.0.0.1");
    QHostAddress m_target;                // the checked address of m_hostAddress; null: look it up
    qint16 m_charsPerPacket = 32;
    ProbeRun* m_run = nullptr;            // a child; replaced runs are deleted later
    quint64 m_generation = 0;             // tells a pending start of an earlier run apart
    IcmpSocket::SocketType m_socketType = IcmpSocket::SocketType::Datagram;
    icmp::IgnoredCounts m_ignoredEarlier;
};
