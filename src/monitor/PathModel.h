#pragma once
#include "HopHistory.h"
#include "HopSample.h"
#include "HopStats.h"

#include <vector>

// The table of hops over rounds: each hop's statistics and history, and how long the path is.
//
// The path ends at the nearest hop where the target answered; hops beyond it are dropped, and
// their probes in later rounds are not counted. When the target later answers at a nearer hop, the rows beyond that hop go. A router
// that appears at a hop already answered by another is counted as one more responder of that
// hop: the row keeps its statistics. While the path has no end, the rows shown reach one hop
// past the farthest hop that ever answered, as in mtr, so a silent stretch shows as one row;
// when that farthest answer was an unreachable (from a router, in the newest round), the rows
// end at it. An unreachable answer does not end the path for good: it is usually passing.
namespace monitor {

class PathModel {
public:
    static constexpr int kMaxHops = 64;

    explicit PathModel(const HistoryLimits& limits = {});

    void addRound(const Round& round);
    void reset();

    int rounds() const { return m_rounds; }
    qint64 firstRoundMs() const { return m_firstMs; }
    qint64 lastRoundMs() const { return m_lastMs; }

    // The rows to show: hops 1..hopCount().
    int hopCount() const;
    // The nearest hop where the target answered: where the path ends; 0 when it never did.
    int targetHop() const { return m_pathEnd; }
    // The farthest hop that ever answered; 0 when none did.
    int farthestAnswer() const;

    // `hop` counts from 1; hop(n) for n > hopCount() is an empty row.
    const HopStats& hop(int hop) const;
    const HopHistory& history(int hop) const;

    // Bytes held by every hop's history (for the memory bound).
    qsizetype historyBytes() const;

private:
    struct Row {
        HopStats stats;
        HopHistory history;
    };

    HistoryLimits m_limits;
    std::vector<Row> m_rows;   // m_rows[0] is hop 1; grows to the farthest hop probed
    Row m_empty;
    int m_rounds = 0;
    int m_pathEnd = 0;
    bool m_endsUnreachable = false;   // the newest round's farthest answer was an unreachable
    qint64 m_firstMs = 0;
    qint64 m_lastMs = 0;
};

} // namespace monitor
