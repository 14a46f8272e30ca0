#include "WhoisAnswer.h"

#include <QStringDecoder>

#include <algorithm>
#include <cstring>

namespace whois {

namespace {

const char* nextLineFeed(const char* from, const char* last)
{
    return static_cast<const char*>(std::memchr(from, '\n', size_t(last - from)));
}

} // namespace

QByteArray WI_AddCR(QByteArrayView text)
{
    // A chunk at a time, small enough to stay in the cache between counting its LFs and copying it.
    constexpr qsizetype kChunk = 64 * 1024;
    // Room for a LF in every 16 bytes, more than whois lines need. Denser line ends grow the buffer
    // once, to what the rest would take were it all LFs: doubling would hold twice the memory.
    QByteArray out;
    out.reserve(text.size() + text.size() / 16);
    for (qsizetype at = 0; at < text.size(); at += kChunk) {
        const char* from = text.data() + at;
        const char* const last = from + std::min(kChunk, text.size() - at);
        qsizetype lineFeeds = 0;
        for (const char* lf = nextLineFeed(from, last); lf; lf = nextLineFeed(lf + 1, last))
            ++lineFeeds;
        qsizetype to = out.size();
        const qsizetype size = to + (last - from) + lineFeeds;
        if (size > out.capacity())
            out.reserve(size + 2 * (text.size() - at - (last - from)));
        out.resize(size);
        char* const o = out.data();
        for (const char* lf = nextLineFeed(from, last); lf; lf = nextLineFeed(from, last)) {
            std::memcpy(o + to, from, size_t(lf - from));
            to += lf - from;
            o[to++] = '\r';
            o[to++] = '\n';
            from = lf + 1;
        }
        std::memcpy(o + to, from, size_t(last - from));
    }
    return out;
}

QString answerText(QByteArrayView bytes)
{
    // Stateless: a sequence cut short at the end counts as invalid, not as pending.
    QStringDecoder utf8(QStringDecoder::Utf8,
                        QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    QString text = utf8.decode(bytes);
    if (!utf8.hasError())
        return text;
    return QString::fromLatin1(bytes);
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

} // namespace whois
