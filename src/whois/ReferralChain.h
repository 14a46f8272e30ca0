#pragma once
#include "Referral.h"
#include "ReferralSafety.h"

#include <QByteArray>
#include <QList>

#include <optional>

// One query's way down the referrals: which servers were asked, where to go next, and the text
// the result box shows once a referral is appended (UTF-8: each answer keeps its own encoding's
// letters, whatever the others had).
namespace whois {

inline constexpr int kMaxReferrals = 3;

// Why a referred server gave no answer.
enum class HopFailure { NoAddress, Unreachable, Refused, TimedOut };

class ReferralChain {
public:
    // A new query to the typed server.
    void start(const Referral& typed);

    struct Step {
        std::optional<Referral> next;   // the server to ask now; nothing: the chain ends
        bool textChanged = false;       // text() has grown and is to be shown
    };
    // The server being asked has answered with `answer` (line ends already converted for the box),
    // cut at the cap when `cut`. The first server's answer alone is shown as it always was: it
    // enters text() only once something follows it.
    Step afterAnswer(QByteArrayView answer, bool cut);
    // The referred server being asked gave no answer: one line says why, and the chain ends.
    // `refusal` says why its address was refused (HopFailure::Refused).
    void failed(HopFailure failure, Refusal refusal = Refusal::None);

    // The referrals followed so far (0 while the typed server is asked).
    int referrals() const { return int(m_asked.size()) - 1; }
    const Referral& current() const { return m_asked.back(); }
    const QByteArray& text() const { return m_text; }

private:
    void appendAnswer(QByteArrayView answer, bool cut);
    void appendLine(const QString& line);

    QList<Referral> m_asked;   // the typed server, then each one referred to
    QByteArray m_text;
};

// The line above a referred server's answer.
QString referralHeading(const Referral& server);

} // namespace whois
