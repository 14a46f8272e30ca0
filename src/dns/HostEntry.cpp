#include "HostEntry.h"

#include "platform/SocketsLayer.h"

#include <QHostAddress>
#include <QtEndian>

using namespace hostent_layout;

namespace {

class Reader {
public:
    explicit Reader(QByteArrayView buffer) : m_buf(buffer) {}

    // Fields of a buffer shorter than the header read as 0.
    quint32 u32(qsizetype at) const
    {
        return fits(at, 4) ? qFromLittleEndian<quint32>(m_buf.data() + at) : 0;
    }
    qint16 i16(qsizetype at) const { return fits(at, 2) ? qFromLittleEndian<qint16>(m_buf.data() + at) : 0; }

    bool inDataArea(quint32 pointer) const { return pointer >= quint32(kHeaderSize) && pointer < quint64(m_buf.size()); }

    QByteArray name(quint32 pointer) const
    {
        if (!inDataArea(pointer))
            return {};
        const QByteArrayView span = m_buf.sliced(pointer, qMin<qsizetype>(kNameSpan, m_buf.size() - pointer));
        const qsizetype nul = span.indexOf('\0');
        return (nul < 0 ? span : span.first(nul)).toByteArray();
    }

    bool fits(qsizetype at, qsizetype size) const { return at >= 0 && size <= m_buf.size() - at; }
    QByteArrayView bytes(qsizetype at, qsizetype size) const { return m_buf.sliced(at, size); }

private:
    QByteArrayView m_buf;
};

} // namespace

DecodedHostEntry decodeHostEntry(QByteArrayView buffer)
{
    const Reader r(buffer);
    DecodedHostEntry entry;

    const quint32 addrList = r.u32(kAddrListField);
    const qint16 length = r.i16(kLengthField);
    if (r.inDataArea(addrList) && length > 0 && length <= kMaxAddressLength) {
        const quint32 first = r.u32(addrList);
        if (r.inDataArea(first) && r.fits(first, length))
            entry.address = r.bytes(first, length).toByteArray();
    }

    entry.name = r.name(r.u32(kNameField));

    const quint32 aliasList = r.u32(kAliasesField);
    if (r.inDataArea(aliasList)) {
        // The list ends at a null pointer, at a pointer outside the data area, or at the buffer's end.
        for (qsizetype at = aliasList; r.fits(at, 4); at += 4) {
            const quint32 alias = r.u32(at);
            if (!r.inDataArea(alias))
                break;
            entry.aliases << r.name(alias);
        }
    }
    return entry;
}

namespace {

const QString kLineEnd = QStringLiteral("\r\n");

QString signedNumber(qint64 n)
{
    return n < 0 ? QString::number(n) : u' ' + QString::number(n);
}

} // namespace

QString retCodeLine(qint32 handle)
{
    return QStringLiteral("RetCode:") + signedNumber(handle) + kLineEnd;
}

QStringList hostEntryPieces(const DecodedHostEntry& entry)
{
    // The first byte keeps the blank of its sign place: "IP:  192.0.2.7". An IPv6 address
    // keeps the same layout: "IP:  2001:db8::10".
    QString ip = QStringLiteral("IP: ");
    if (entry.address.size() == 16) {
        ip += u' ' + QHostAddress(reinterpret_cast<const quint8*>(entry.address.constData())).toString();
    } else {
        for (qsizetype i = 0; i < entry.address.size(); ++i) {
            const int byte = quint8(entry.address[i]);
            ip += i == 0 ? signedNumber(byte) : u'.' + QString::number(byte);
        }
    }
    QStringList pieces{ip, kLineEnd + QStringLiteral("Host Name: ") + QString::fromUtf8(entry.name)};
    for (const QByteArray& alias : entry.aliases)
        pieces << kLineEnd + QStringLiteral("Host Alias: ") + QString::fromUtf8(alias);
    return pieces;
}

QString asyncErrorText()
{
    return QStringLiteral("An Asyncronous error occured");
}
