#pragma once
#include <QByteArray>
#include <QObject>
#include <QString>

// The TCP connection the whois page drives: exactly the members it uses.
// Events arrive on the UI thread. A Close() made by the program raises no closed().
// The connection has no error event: a failed attempt simply never connects.
class TcpControl : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // State codes: 0 is closed; every other code must be closed before the object is reused.
    static constexpr qint16 kClosed = 0;
    static constexpr qint16 kResolvingHost = 4;
    static constexpr qint16 kConnecting = 6;
    static constexpr qint16 kConnected = 7;
    static constexpr qint16 kPeerClosing = 8;
    static constexpr qint16 kFailed = 9;

    virtual qint16 State() const = 0;
    virtual void Close() = 0;
    virtual void setRemoteHost(const QString& host) = 0;
    virtual void setRemotePort(qint32 port) = 0;
    // Starts connecting (resolving the host itself) and returns at once.
    virtual void Connect() = 0;
    virtual void SendData(const QByteArray& data) = 0;
    // Moves all data waiting into `data`.
    virtual void GetData(QByteArray& data) = 0;

signals:
    void connected();
    void dataArrival(qint32 bytesTotal);
    // The server has closed the connection.
    void closed();
};
