#include "WhoisQuery.h"

#include <QRegularExpression>

namespace whois {

QByteArray queryLine(const QString& query)
{
    const qsizetype lineEnd = query.indexOf(QRegularExpression(QStringLiteral("[\r\n]")));
    return query.left(lineEnd).toUtf8().append("\r\n");
}

std::optional<qint32> portNumber(QStringView text)
{
    const QStringView digits = text.trimmed();
    if (digits.isEmpty())
        return std::nullopt;
    qint32 port = 0;
    for (const QChar c : digits) {
        if (c < u'0' || c > u'9')
            return std::nullopt;
        port = port * 10 + (c.unicode() - u'0');
        if (port > 65535)
            return std::nullopt;
    }
    return port;
}

} // namespace whois
