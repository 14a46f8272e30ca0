#include "HostEntText.h"

#include "HostEntDecode.h"

#include <QHostAddress>

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
