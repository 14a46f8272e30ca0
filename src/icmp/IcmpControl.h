#pragma once
#include "platform/Bool16.h"

#include <QHostAddress>
#include <QObject>
#include <QString>

// The ICMP control the window drives for ping and traceroute. Every call and every
// event happens on the UI thread, one event at a time. Events may arrive during
// Ping()/Trace() or later; every run ends with exactly one SequenceComplete,
// except one that a new Ping()/Trace() replaces: that one ends quietly, raising nothing more.
class IcmpControl : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    virtual QString HostAddress() const = 0;
    virtual void setHostAddress(const QString& host) = 0;
    // Where the probes of the next Ping or Trace go: the address the host was checked to have.
    // Setting the host forgets it; without one (or with a null one) the control looks the host up.
    virtual void setTargetAddress(const QHostAddress& address) = 0;
    virtual qint16 CharsPerPacket() const = 0;
    // IPv4 address of this machine in dotted form; "127.0.0.1" when it has no other.
    virtual QString LocalIP() const = 0;
    virtual QString LocalHostName() const = 0;

    virtual void Ping() = 0;
    virtual void Trace() = 0;

signals:
    void Error(const QString& Description, Bool16 Fatal);
    void PingData(const QString& RespondingHostIP, const QString& RespondingHostName, const QString& TripTime,
                  const QString& ReturnCodeDescription, qint32 ReturnCode, qint16 DataSize, quint8 TTL);
    // The receiver writes its stop request into *Cancel before returning; kTrue16 ends the trace.
    // Connect with Qt::DirectConnection.
    void TraceData(const QString& RespondingHostIP, const QString& RespondingHostName, const QString& TripTime,
                   const QString& ReturnCodeDescription, qint32 ReturnCode, const QString& HopNumber,
                   Bool16* Cancel);
    void SequenceComplete();
};
