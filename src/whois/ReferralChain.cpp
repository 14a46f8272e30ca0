#include "ReferralChain.h"

#include "Whois.h"

#include <algorithm>

namespace whois {
namespace {

QString serverName(const Referral& server)
{
    return QStringLiteral("%1 (port %2)").arg(server.host).arg(server.port);
}

QString notFollowed(const Referral& server, const QString& why)
{
    return QStringLiteral("Referral to %1 not followed: %2.").arg(serverName(server), why);
}

} // namespace

QString referralHeading(const Referral& server)
{
    return QStringLiteral("Referred to %1:").arg(serverName(server));
}

void ReferralChain::start(const Referral& typed)
{
    m_asked = {typed};
    m_text.clear();
}

ReferralChain::Step ReferralChain::afterAnswer(QByteArrayView answer, bool cut)
{
    const std::optional<Referral> found = findReferral(answer, current());
    QString refused;   // why the referral found is not followed
    if (!found)
        ;
    else if (referrals() >= kMaxReferrals)
        refused = notFollowed(*found, QStringLiteral("at most %1 referrals are followed").arg(kMaxReferrals));
    else if (std::ranges::any_of(m_asked, [&](const Referral& r) { return sameHost(r.host, found->host) && r.port == found->port; }))
        refused = notFollowed(*found, QStringLiteral("that server was asked already"));
    else if (const Refusal port = refusePort(found->port); port != Refusal::None)
        refused = notFollowed(*found, refusalReason(port));
    const bool follow = found && refused.isEmpty();
    if (referrals() == 0 && !follow && refused.isEmpty())
        return {};   // the first answer alone, shown as it always was
    appendAnswer(answer, cut);
    if (!follow) {
        if (!refused.isEmpty())
            appendLine(refused);
        return {std::nullopt, true};
    }
    appendLine(referralHeading(*found));
    m_asked.append(*found);
    return {found, true};
}

void ReferralChain::failed(HopFailure failure, Refusal refusal)
{
    switch (failure) {
    case HopFailure::NoAddress:
        appendLine(QStringLiteral("The referral ends here: %1 has no address.").arg(current().host));
        break;
    case HopFailure::Unreachable:
        appendLine(QStringLiteral("The referral ends here: %1 refused the connection or could not be reached.").arg(serverName(current())));
        break;
    case HopFailure::Refused:
        appendLine(QStringLiteral("The referral ends here: %1 not followed, %2.").arg(serverName(current()), refusalReason(refusal)));
        break;
    case HopFailure::TimedOut:
        appendLine(QStringLiteral("For some reason we did not get a response back from the whois server within 30 secs."));
        break;
    }
}

void ReferralChain::appendAnswer(QByteArrayView answer, bool cut)
{
    // The first answer as it was shown; each referred one after its heading line.
    const qsizetype before = m_text.size();
    if (answerEncoding(answer) == QStringConverter::Utf8)
        m_text += answer;   // as it came: a 32 MB answer is not decoded here, only by the box
    else
        m_text += QString::fromLatin1(answer).toUtf8();
    if (cut)
        m_text += answerCutNote(referrals() == 0 ? kAnswerCap : kReferredAnswerCap).toUtf8();
    if (m_text.size() > before && !m_text.endsWith('\n'))
        m_text += "\r\n";
}

void ReferralChain::appendLine(const QString& line)
{
    // An empty line, then the line, so it stands apart from the answer above it.
    m_text += "\r\n" + line.toUtf8() + "\r\n";
}

} // namespace whois
