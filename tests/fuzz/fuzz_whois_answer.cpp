// The whois answer as the server sends it: line-end conversion, cut and text must keep
// every byte, for any bytes at all.
#include "whois/WhoisAnswer.h"

#include <cstdint>
#include <cstdlib>

namespace {

void require(bool ok)
{
    if (!ok)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));

    // Each LF gains exactly one CR just before it; taking those CRs out gives the input back.
    QByteArray converted = bytes;
    whois::WI_AddCR(converted);
    const qsizetype lineFeeds = bytes.count('\n');
    require(converted.size() == bytes.size() + lineFeeds);
    QByteArray undone;
    undone.reserve(bytes.size());
    for (qsizetype i = 0; i < converted.size(); ++i) {
        if (converted[i] == '\n') {
            require(i > 0 && converted[i - 1] == '\r');
            undone.chop(1);
        }
        undone += converted[i];
    }
    require(undone == bytes);

    // The text gives back the very bytes: as UTF-8 when it is that, else one per character.
    const QString text = whois::answerText(bytes);
    const bool asLatin1 = text.size() == bytes.size() && text.toLatin1() == bytes;
    require(asLatin1 || text.toUtf8() == bytes);

    // A cut never passes the cap, never loses more than one letter, and keeps UTF-8 UTF-8.
    const qsizetype cap = size > 0 ? qsizetype(data[0]) % (bytes.size() + 1) : 0;
    const qsizetype kept = whois::answerCut(bytes, cap);
    require(kept <= cap && kept >= cap - 3 && kept >= 0);
    if (text.toUtf8() == bytes && !asLatin1) {
        const QString cutText = whois::answerText(bytes.left(kept));
        require(cutText.toUtf8() == bytes.left(kept));
    }
    return 0;
}
