#include "OriginRecord.h"

#include <QList>
#include <QRegularExpression>

namespace asn {
namespace {

std::optional<quint32> asNumber(QByteArrayView text)
{
    static const QRegularExpression digits(QStringLiteral("^[0-9]{1,10}$"));
    const QString s = QString::fromLatin1(text.trimmed());
    if (!digits.match(s).hasMatch())
        return std::nullopt;
    const qulonglong n = s.toULongLong();
    if (n == 0 || n > 0xFFFFFFFFull)
        return std::nullopt;
    return quint32(n);
}

QList<QByteArrayView> fields(QByteArrayView text)
{
    QList<QByteArrayView> out;
    qsizetype start = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        if (i == text.size() || text[i] == '|') {
            out << text.sliced(start, i - start).trimmed();
            start = i + 1;
        }
    }
    return out;
}

// A short field (country, registry) as printable ASCII, or empty.
QString shortField(QByteArrayView text)
{
    if (text.size() > 16 || std::any_of(text.begin(), text.end(), [](char c) { return c < 0x21 || c > 0x7E; }))
        return {};
    return QString::fromLatin1(text);
}

} // namespace

QHostAddress plain(const QHostAddress& address)
{
    bool mapped = false;
    const quint32 v4 = address.toIPv4Address(&mapped);
    return mapped ? QHostAddress(v4) : address;
}

bool isLookedUp(const QHostAddress& given)
{
    const QHostAddress address = plain(given);
    if (address.isNull() || address.isLoopback() || address.isLinkLocal() || address.isMulticast()
        || address.isBroadcast() || address == QHostAddress::AnyIPv4 || address == QHostAddress::AnyIPv6)
        return false;
    static const char* const kPrivate[] = {"0.0.0.0/8", "10.0.0.0/8", "172.16.0.0/12", "192.168.0.0/16",
                                           "100.64.0.0/10", "fc00::/7", "fec0::/10"};
    for (const char* net : kPrivate) {
        if (address.isInSubnet(QHostAddress::parseSubnet(QLatin1String(net))))
            return false;
    }
    return address.protocol() == QAbstractSocket::IPv4Protocol || address.protocol() == QAbstractSocket::IPv6Protocol;
}

QString originQueryName(const QHostAddress& given, const QString& zone)
{
    const QHostAddress address = plain(given);
    QStringList labels;
    if (address.protocol() == QAbstractSocket::IPv4Protocol) {
        const quint32 v4 = address.toIPv4Address();
        for (int shift = 0; shift < 32; shift += 8)
            labels << QString::number((v4 >> shift) & 0xFF);
        return labels.join(u'.') + QStringLiteral(".origin.") + zone;
    }
    const Q_IPV6ADDR v6 = address.toIPv6Address();
    for (int i = 15; i >= 0; --i)
        labels << QString::number(v6[i] & 0xF, 16) << QString::number(v6[i] >> 4, 16);
    return labels.join(u'.') + QStringLiteral(".origin6.") + zone;
}

QString asNameQueryName(quint32 asn, const QString& zone)
{
    return QStringLiteral("AS%1.").arg(asn) + zone;
}

bool isValidZone(const QString& zone)
{
    static const QRegularExpression name(
        QStringLiteral("^[A-Za-z0-9]([A-Za-z0-9-]{0,61}[A-Za-z0-9])?(\\.[A-Za-z0-9]([A-Za-z0-9-]{0,61}[A-Za-z0-9])?)*$"));
    return zone.size() <= 200 && name.match(zone).hasMatch();
}

std::optional<OriginRecord> parseOriginRecord(QByteArrayView text, const QHostAddress& given)
{
    const QHostAddress address = plain(given);
    const QList<QByteArrayView> parts = fields(text);
    if (parts.size() < 2)
        return std::nullopt;
    // Several origins ("64500 64501"): the first, as other tools show it.
    QByteArrayView first = parts[0];
    if (const qsizetype space = first.indexOf(' '); space > 0)
        first = first.first(space);
    const std::optional<quint32> asn = asNumber(first);
    // No NUL, no blank inside: QHostAddress would read "198.18.2.0/24\0junk" as the prefix.
    const QString net = QString::fromLatin1(parts[1]);
    const QPair<QHostAddress, int> prefix = QHostAddress::parseSubnet(net);
    static const QRegularExpression netChars(QStringLiteral("^[0-9A-Fa-f.:]+/[0-9]{1,3}$"));
    if (!asn || net.size() > 50 || !netChars.match(net).hasMatch() || prefix.first.isNull() || prefix.first.protocol() != address.protocol()
        || !address.isInSubnet(prefix))
        return std::nullopt;
    return OriginRecord{*asn, prefix, parts.size() > 2 ? shortField(parts[2]) : QString(),
                        parts.size() > 3 ? shortField(parts[3]) : QString()};
}

std::optional<QString> parseAsNameRecord(QByteArrayView text, quint32 asn)
{
    const QList<QByteArrayView> parts = fields(text);
    if (parts.size() < 5 || asNumber(parts[0]) != asn)
        return std::nullopt;
    // The name is the rest of the record, pipes and all.
    qsizetype start = 0;
    for (int i = 0; i < 4; ++i)
        start = text.indexOf('|', start) + 1;
    QString name = QString::fromUtf8(text.sliced(start).trimmed());
    if (name.isEmpty())
        return std::nullopt;
    if (name.size() > kMaxNameLength)
        name = name.left(name[kMaxNameLength - 2].isHighSurrogate() ? kMaxNameLength - 2 : kMaxNameLength - 1) + QChar(0x2026);
    return name;
}

} // namespace asn
