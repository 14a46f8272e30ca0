#include "Controls.h"

#include "NameLookup.h"
#include "OffThread.h"

#include <QHostAddress>
#include <QNetworkProxy>
#include <QUrl>

namespace {

// A name that cannot be looked up is refused here, so it never reaches the resolver
// (RFC 1035: at most 253 characters in labels of 1 to 63, counted in the ASCII form).
bool canBeHost(const QString& host)
{
    if (host.isEmpty())
        return false;
    if (QHostAddress address; address.setAddress(host))
        return true;
    QByteArray ace = QUrl::toAce(host);
    if (ace.endsWith('.'))
        ace.chop(1);
    if (ace.isEmpty() || ace.size() > 253)
        return false;
    for (const QByteArray& label : ace.split('.')) {
        if (label.isEmpty() || label.size() > 63)
            return false;
    }
    return true;
}

constexpr qint64 kReadBufferBytes = 1 << 20;

} // namespace

QtTcpControl::QtTcpControl(QObject* parent)
    : TcpControl(parent)
{
}

void QtTcpControl::Close()
{
    m_state = kClosed;
    ++m_attempt;
    m_addresses.clear();
    if (!m_socket)
        return;
    // A close made here raises no closed(): cut the socket loose before aborting it.
    // It may be inside one of its own signals, so it is deleted later.
    m_socket->disconnect(this);
    m_socket->abort();
    m_socket->deleteLater();
    m_socket = nullptr;
}

void QtTcpControl::Connect()
{
    Close();
    m_peer.clear();
    m_filtered = m_tried = false;
    if (m_port < 0 || m_port > 65535 || !canBeHost(m_host)) {
        m_state = kFailed;
        fail(Failure::NoAddress);
        return;
    }
    m_socket = new QTcpSocket(this);
    // Whois is plain TCP to the server typed: no proxy in between.
    m_socket->setProxy(QNetworkProxy::NoProxy);
    // Taken from the kernel only as fast as the program takes it: a server that floods the
    // connection fills the kernel's buffer, not this process's memory.
    m_socket->setReadBufferSize(kReadBufferBytes);
    connect(m_socket, &QTcpSocket::hostFound, this, [this] { m_state = kConnecting; });
    connect(m_socket, &QTcpSocket::connected, this, [this] {
        m_state = kConnected;
        m_peer = m_socket->peerAddress();
        emit connected();
    });
    connect(m_socket, &QTcpSocket::readyRead, this, &QtTcpControl::onReadyRead);
    connect(m_socket, &QTcpSocket::disconnected, this, &QtTcpControl::onDisconnected);
    connect(m_socket, &QTcpSocket::errorOccurred, this, &QtTcpControl::onErrorOccurred);
    if (const QHostAddress literal(m_host); !literal.isNull()) {
        m_addresses = {literal};
        connectToNext();
        return;
    }
    m_state = kResolvingHost;
    runOffThread<QList<QHostAddress>>(
        this, [name = QUrl::toAce(m_host)] { return systemAddressesOf(name); },
        [this, attempt = m_attempt](const QList<QHostAddress>& addresses) {
            if (attempt != m_attempt)   // closed, or connecting elsewhere, meanwhile
                return;
            m_addresses = addresses;
            connectToNext();
        },
        {});
}

void QtTcpControl::connectToNext()
{
    // Addresses the filter refuses are never connected to: not even a SYN reaches them.
    while (!m_addresses.isEmpty() && !addressAllowed(m_addresses.first())) {
        m_addresses.removeFirst();
        m_filtered = true;
    }
    if (m_addresses.isEmpty()) {
        m_state = kFailed;
        fail(m_tried ? Failure::Unreachable : m_filtered ? Failure::Filtered : Failure::NoAddress);
        return;
    }
    m_state = kConnecting;
    m_tried = true;
    m_socket->connectToHost(m_addresses.takeFirst(), quint16(m_port));
}

void QtTcpControl::fail(Failure why)
{
    QMetaObject::invokeMethod(this, [this, why, attempt = m_attempt] {
        if (attempt == m_attempt && m_state == kFailed)
            emit failed(why);
    }, Qt::QueuedConnection);
}

void QtTcpControl::SendData(const QByteArray& data)
{
    if (m_socket && m_state == kConnected)
        m_socket->write(data);
}

void QtTcpControl::GetData(QByteArray& data)
{
    data = m_socket ? m_socket->readAll() : QByteArray();
}

void QtTcpControl::onReadyRead()
{
    const qint64 waiting = m_socket->bytesAvailable();
    if (waiting > 0)
        emit dataArrival(qint32(qMin<qint64>(waiting, INT32_MAX)));
}

void QtTcpControl::onDisconnected()
{
    // Whatever the server sent before closing is offered before the close itself.
    onReadyRead();
    if (!m_socket)
        return;   // the program closed the connection while taking that data
    m_state = kPeerClosing;
    emit closed();
}

void QtTcpControl::onErrorOccurred(QAbstractSocket::SocketError error)
{
    // The server's close is not a failure: disconnected() follows it.
    if (error == QAbstractSocket::RemoteHostClosedError)
        return;
    // A name with several addresses: the next one may answer where this one did not.
    if (m_state == kConnecting) {
        // Not from inside the socket's own signal: from the event loop, if nothing changed since.
        QMetaObject::invokeMethod(this, [this, attempt = m_attempt] {
            if (attempt == m_attempt && m_socket && m_state == kConnecting) {
                m_socket->abort();
                connectToNext();
            }
        }, Qt::QueuedConnection);
        return;
    }
    m_state = kFailed;
}

QtTimer::QtTimer(QObject* parent)
    : Timer(parent)
{
    // A coarse timer may be off by 5 %, a second and a half on the whois time-out.
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &Timer::tick);
}

void QtTimer::setInterval(int milliseconds)
{
    m_interval = milliseconds;
    restart();
}

void QtTimer::setEnabled(bool enabled)
{
    m_enabled = enabled;
    restart();
}

void QtTimer::restart()
{
    // Enabling or changing the interval starts the count afresh; an interval of 0 never ticks.
    m_timer.stop();
    if (m_enabled && m_interval > 0)
        m_timer.start(m_interval);
}
