#include "Whois.h"

#include <QRegularExpression>
#include <QStringDecoder>

#include <algorithm>

namespace whois {

void WI_AddCR(QByteArray& text)
{
    // In place, from the end towards the start, each byte moved once: QByteArray::replace("\n",
    // "\r\n") takes time that grows faster than the text (4 s for 32 MB of line feeds).
    const qsizetype oldSize = text.size();
    const qsizetype lineFeeds = text.count('\n');
    if (lineFeeds == 0)
        return;
    text.resize(oldSize + lineFeeds);
    char* const data = text.data();
    for (qsizetype from = oldSize, to = text.size(); from > 0;) {
        const char c = data[--from];
        data[--to] = c;
        if (c == '\n')
            data[--to] = '\r';
    }
}

qsizetype utf8Boundary(QByteArrayView bytes, qsizetype at)
{
    // The sequence that may straddle `at` starts at the last lead byte among the 3 before it.
    for (qsizetype start = at - 1; start >= 0 && start >= at - 3; --start) {
        const quint8 b = quint8(bytes[start]);
        if ((b & 0xC0) == 0x80)
            continue;
        const qsizetype length = b >= 0xF0 ? 4 : b >= 0xE0 ? 3 : b >= 0xC0 ? 2 : 1;
        return start + length > at ? start : at;
    }
    return at;
}

QStringConverter::Encoding answerEncoding(QByteArrayView bytes)
{
    return bytes.isValidUtf8() ? QStringConverter::Utf8 : QStringConverter::Latin1;
}

QString answerText(QByteArrayView bytes, bool cut)
{
    // A byte-order mark is the answer's first character, not a hint to drop.
    QStringDecoder decoder(answerEncoding(bytes), QStringDecoder::Flag::ConvertInitialBom);
    QString text = decoder.decode(bytes);
    return cut ? text + answerCutNote() : text;
}

qsizetype answerCut(QByteArrayView bytes, qsizetype cap)
{
    return bytes.size() <= cap ? bytes.size() : utf8Boundary(bytes, cap);
}

QString answerCutNote(qsizetype cap)
{
    return QStringLiteral("\r\n\r\n[The answer was longer than %1 MB: only its first %1 MB are shown.]")
        .arg(cap / (1024 * 1024));
}


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
