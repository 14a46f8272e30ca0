// A whois answer of any bytes, converted as the window shows it: no byte is lost, no LF is left
// without its CR, and the text gives back exactly the converted bytes. Its referral, if any, names
// a host written in the answer, never the server asked, and a chain fed it stops within its limits.
#include "FuzzChecks.h"
#include "whois/ReferralChain.h"
#include "whois/Whois.h"

#include <QHostAddress>
#include <QStringDecoder>

#include <algorithm>

using namespace fuzz;

namespace {

bool isUtf8(QByteArrayView bytes)
{
    // Stateless: a sequence cut short at the end is an error, not one waiting for more bytes.
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8.decode(bytes);   // decode() converts only when made a QString
    return !utf8.hasError();
}

void checkReferral(const QByteArray& answer)
{
    const whois::Referral asked{QStringLiteral("whois.asked.test"), 43};
    const std::optional<whois::Referral> found = whois::findReferral(answer, asked);
    if (found && QHostAddress(found->host).isNull())
        require(found->port > 0 && answer.toLower().contains(found->host.toLatin1()) && !whois::sameHost(found->host, asked.host)
                    && std::ranges::all_of(found->host, [](QChar c) { return c.isLower() || c.isDigit() || QStringLiteral(".-_").contains(c); }),
                "a referral names a host of the answer's, of letters, digits, dots, hyphens, other than the one asked");
    // The same answer from every server: the chain ends within its limits, its text stays UTF-8.
    whois::ReferralChain chain;
    chain.start(asked);
    for (int hop = 0; hop < 6 && chain.afterAnswer(answer, false).next; ++hop)
        require(chain.referrals() <= whois::kMaxReferrals, "at most three referrals");
    require(chain.text().isValidUtf8(), "the chain's text is UTF-8");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray answer(reinterpret_cast<const char*>(data), qsizetype(size));
    struct { QByteArray bytes; QString text; } shown{answer, {}};   // as the window shows it
    whois::WI_AddCR(shown.bytes);
    shown.text = whois::answerText(shown.bytes);

    // Every LF gains one CR just before it; taking those CRs out gives the answer back.
    require(shown.bytes.size() == answer.size() + answer.count('\n'), "one CR added per LF");
    QByteArray undone;
    for (qsizetype i = 0; i < shown.bytes.size(); ++i) {
        if (shown.bytes[i] == '\n') {
            require(i > 0 && shown.bytes[i - 1] == '\r', "no LF without a CR before it");
            undone.chop(1);
        }
        undone += shown.bytes[i];
    }
    require(undone == answer, "no byte lost, moved or changed");

    // UTF-8 when the bytes are that (a BOM kept as a character), else one character per byte.
    const bool utf8 = isUtf8(shown.bytes);
    require(utf8 == isUtf8(answer), "the conversion keeps UTF-8 valid and invalid UTF-8 invalid");
    require(utf8 ? shown.text.toUtf8() == shown.bytes
                 : shown.text.size() == shown.bytes.size() && shown.text.toLatin1() == shown.bytes,
            "the text gives back the bytes");

    // A cut answer keeps at most the cap, loses at most one sequence and stays UTF-8.
    const qsizetype cap = size > 0 ? qsizetype(data[0]) % (answer.size() + 1) : 0;
    const qsizetype kept = whois::answerCut(answer, cap);
    require(kept <= cap && kept >= cap - 3 && kept >= 0, "the cut stays under the cap, at most 3 bytes below");
    if (isUtf8(answer))
        require(isUtf8(answer.left(kept)), "a cut UTF-8 answer is still UTF-8");
    checkReferral(answer);
    return 0;
}
