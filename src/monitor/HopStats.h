#pragma once
#include <QHostAddress>
#include <QList>

#include <optional>

// One hop's statistics over every round so far, with the same definitions as mtr's report
// columns, so the numbers can be checked against it on the same path:
//   loss %   lost / sent × 100
//   last     the newest answer's round trip (an answer, not a loss: a lost probe leaves it)
//   avg      mean round trip of the answers
//   best, worst
//   stdev    sample standard deviation (divided by received − 1, as mtr does); 0 with one answer
//   jitter   mtr's "Javg": every answer after the first has a jitter of |its rtt − the previous
//            answer's rtt|. Losses between two answers are skipped: the difference is taken
//            to the last answer received, however many probes were lost in between, and a
//            lost probe adds nothing. The first answer counts as a jitter of 0, and the sum is
//            divided by the number of answers (not answers − 1), exactly as mtr and Trippy
//            do, so 10, lost, 14, 13 gives (0 + 4 + 1) / 3 = 1.67.
// Each update costs O(1) (Welford's running mean and squared deviations) and the memory is
// fixed: responders are kept up to kMaxResponders; more go to unlistedReplies().
namespace monitor {

class HopStats {
public:
    // Enough for the widest load balancing seen in practice (mtr keeps 8).
    static constexpr int kMaxResponders = 16;

    struct Responder {
        QHostAddress address;
        int received = 0;
    };

    void addLoss();
    void addReply(const QHostAddress& from, double rttMs);

    int sent() const { return m_sent; }
    int received() const { return m_received; }
    int lost() const { return m_sent - m_received; }
    double lossPercent() const;
    // Losses since the last answer (all of them when none came yet).
    int lossStreak() const { return m_lossStreak; }

    // Nothing while no answer has come.
    std::optional<double> last() const;
    std::optional<double> avg() const;
    std::optional<double> best() const;
    std::optional<double> worst() const;
    std::optional<double> stdev() const;
    std::optional<double> jitter() const;

    // Every router that answered at this hop, the most frequent first (first seen first
    // on a tie); more than one means load balancing or a path that changed.
    QList<Responder> responders() const;
    // The most frequent responder; null before any answer.
    QHostAddress mainResponder() const;
    int unlistedReplies() const { return m_unlisted; }

private:
    int m_sent = 0;
    int m_received = 0;
    int m_lossStreak = 0;
    double m_last = 0;
    double m_mean = 0;
    double m_squares = 0;     // Welford's M2: sum of squared deviations from the mean
    double m_best = 0;
    double m_worst = 0;
    double m_jitterMean = 0;
    QList<Responder> m_responders;   // in the order first seen, at most kMaxResponders
    int m_unlisted = 0;
};

} // namespace monitor
