#include "QtTcpControl.h"

QtTcpControl::QtTcpControl(QObject* parent)
    : TcpControl(parent)
{
}

qint16 QtTcpControl::State() const
{
    return m_socket && m_socket->state() != QAbstractSocket::UnconnectedState ? 1 : 0;
}

void QtTcpControl::Close()
{
    if (!m_socket)
        return;
    // A close made here raises no closed(): cut the socket loose before aborting it.
    m_socket->disconnect(this);
    m_socket->abort();
    m_socket->deleteLater();
    m_socket = nullptr;
}

void QtTcpControl::Connect()
{
    Close();
    m_socket = new QTcpSocket(this);
    connect(m_socket, &QTcpSocket::connected, this, &TcpControl::connected);
    connect(m_socket, &QTcpSocket::readyRead, this,
            [this] { emit dataArrival(qint32(qMin<qint64>(m_socket->bytesAvailable(), INT32_MAX))); });
    connect(m_socket, &QTcpSocket::disconnected, this, &TcpControl::closed);
    m_socket->connectToHost(m_host, quint16(m_port));
}

void QtTcpControl::SendData(const QByteArray& data)
{
    if (m_socket)
        m_socket->write(data);
}

void QtTcpControl::GetData(QByteArray& data)
{
    data = m_socket ? m_socket->readAll() : QByteArray();
}
