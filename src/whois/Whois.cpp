#include "Whois.h"

#include <QRegularExpression>
#include <QStringDecoder>

#include <algorithm>
#include <cstring>
#include <vector>

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

QStringConverter::Encoding answerEncoding(QByteArrayView bytes)
{
    // Decoded a slice at a time into one small buffer, between sequences, so no copy of the
    // whole answer is made.
    constexpr qsizetype kSlice = 1 << 20;
    const auto isContinuation = [&](qsizetype i) { return (quint8(bytes[i]) & 0xC0) == 0x80; };
    std::vector<QChar> scratch(size_t(std::min(bytes.size(), kSlice)));
    for (qsizetype at = 0; at < bytes.size();) {
        qsizetype end = std::min(bytes.size(), at + kSlice);
        for (int back = 0; back < 3 && end < bytes.size() && isContinuation(end); ++back)
            --end;
        // Stateless: a sequence cut short at the end counts as invalid, not as pending.
        QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        utf8.appendToBuffer(scratch.data(), bytes.sliced(at, end - at));
        if (utf8.hasError())
            return QStringConverter::Latin1;
        at = end;
    }
    return QStringConverter::Utf8;
}

QString answerText(QByteArrayView bytes)
{
    QStringDecoder decoder(answerEncoding(bytes),
                           QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    return decoder.decode(bytes);
}

qsizetype answerCut(QByteArrayView bytes, qsizetype cap)
{
    if (bytes.size() <= cap)
        return bytes.size();
    const auto isContinuation = [&](qsizetype i) { return (quint8(bytes[i]) & 0xC0) == 0x80; };
    // The first byte left out continues a sequence: find where that sequence starts.
    qsizetype start = cap;
    while (start > 0 && cap - start < 3 && isContinuation(start))
        --start;
    return start < cap && quint8(bytes[start]) >= 0xC0 ? start : cap;
}

QString answerCutNote()
{
    return QStringLiteral("\r\n\r\n[The answer was longer than %1 MB: only its first %1 MB are shown.]")
        .arg(kAnswerCap / (1024 * 1024));
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
