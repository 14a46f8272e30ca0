#pragma once
// The controls without a face the window drives: the whois connection and its timer.
#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QString>
#include <QTcpSocket>
#include <QTimer>

#include <functional>

// The TCP connection the whois page drives: exactly the members it uses.
// Events arrive on the UI thread. A Close() made by the program raises no closed().
// A failed attempt never connects; failed() says why, for callers that want to know.
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
    // The address of the server connected to; null before the connection is made.
    virtual QHostAddress peerAddress() const { return {}; }

    // Which of the server's addresses the next Connect() may use; none set: all of them. Asked
    // after the name is resolved, before anything is sent to the address.
    using AddressFilter = std::function<bool(const QHostAddress&)>;
    void setAddressFilter(AddressFilter filter) { m_addressFilter = std::move(filter); }

    enum class Failure { NoAddress, Unreachable, Filtered };

signals:
    void connected();
    void dataArrival(qint32 bytesTotal);
    // The server has closed the connection.
    void closed();
    // The attempt that Connect() started has failed: the name has no address, every address
    // refused or could not be reached, or the filter refused every address.
    void failed(TcpControl::Failure why);

protected:
    bool addressAllowed(const QHostAddress& address) const { return !m_addressFilter || m_addressFilter(address); }

private:
    AddressFilter m_addressFilter;
};

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
    QHostAddress peerAddress() const override { return m_peer; }

private:
    void connectToNext();
    // Fails the attempt from the event loop, never from inside Connect() or a socket's signal.
    void fail(Failure why);
    void onReadyRead();
    void onDisconnected();
    void onErrorOccurred(QAbstractSocket::SocketError error);

    QTcpSocket* m_socket = nullptr;
    QList<QHostAddress> m_addresses;   // still to try, in the resolver's order
    quint64 m_attempt = 0;             // tells a lookup of an earlier Connect() apart
    QString m_host;
    QHostAddress m_peer;
    bool m_filtered = false;           // the filter refused an address of this attempt
    bool m_tried = false;              // an address of this attempt was tried
    qint32 m_port = 0;
    qint16 m_state = kClosed;
};

// A timer that ticks every interval() ms while enabled; an interval of 0 never ticks.
class Timer : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    virtual void setInterval(int milliseconds) = 0;
    virtual int interval() const = 0;
    virtual void setEnabled(bool enabled) = 0;
    virtual bool isEnabled() const = 0;

signals:
    void tick();
};

class QtTimer final : public Timer {
    Q_OBJECT
public:
    explicit QtTimer(QObject* parent = nullptr);

    void setInterval(int milliseconds) override;
    int interval() const override { return m_interval; }
    void setEnabled(bool enabled) override;
    bool isEnabled() const override { return m_enabled; }

private:
    void restart();

    QTimer m_timer;
    int m_interval = 0;
    bool m_enabled = false;
};
