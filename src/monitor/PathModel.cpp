#include "PathModel.h"

namespace monitor {

PathModel::PathModel(const HistoryLimits& limits)
    : m_limits(limits)
    , m_empty{HopStats(), HopHistory(limits)}
{
}

void PathModel::reset()
{
    m_rows.clear();
    m_rounds = 0;
    m_pathEnd = 0;
    m_endsUnreachable = false;
    m_firstMs = 0;
    m_lastMs = 0;
}

// The hop where this round found the target, or 0.
static int targetIn(const Round& round, int limit)
{
    for (int i = 0; i < limit; ++i) {
        if (round.hops.at(i).answered && round.hops.at(i).fromTarget)
            return i + 1;
    }
    return 0;
}

void PathModel::addRound(const Round& round)
{
    if (m_rounds++ == 0)
        m_firstMs = round.atMs;
    m_lastMs = round.atMs;

    int limit = int(qMin<qsizetype>(round.hops.size(), kMaxHops));
    const int target = targetIn(round, limit);
    if (target && (m_pathEnd == 0 || target < m_pathEnd)) {
        m_pathEnd = target;
        if (int(m_rows.size()) > target)
            m_rows.erase(m_rows.begin() + target, m_rows.end());
    }
    if (m_pathEnd)
        limit = qMin(limit, m_pathEnd);
    while (int(m_rows.size()) < limit)
        m_rows.push_back({HopStats(), HopHistory(m_limits)});

    m_endsUnreachable = false;
    for (int i = 0; i < limit; ++i) {
        const HopSample& sample = round.hops.at(i);
        Row& row = m_rows[i];
        if (!sample.answered) {
            row.stats.addLoss();
            row.history.addLoss(round.atMs);
            continue;
        }
        row.stats.addReply(sample.responder, sample.rttMs);
        row.history.addReply(round.atMs, sample.rttMs);
        if (sample.unreachable && !sample.fromTarget)
            m_endsUnreachable = i + 1 == farthestAnswer();
    }
}

int PathModel::farthestAnswer() const
{
    for (int i = int(m_rows.size()); i > 0; --i) {
        if (m_rows[i - 1].stats.received() > 0)
            return i;
    }
    return 0;
}

int PathModel::hopCount() const
{
    if (m_pathEnd)
        return m_pathEnd;
    const int farthest = farthestAnswer();
    // One silent row past the farthest answer, unless that answer said the path ends there.
    const int shown = m_endsUnreachable ? farthest : farthest + 1;
    return qMin(shown, int(m_rows.size()));
}

const HopStats& PathModel::hop(int hop) const
{
    return hop >= 1 && hop <= int(m_rows.size()) ? m_rows[hop - 1].stats : m_empty.stats;
}

const HopHistory& PathModel::history(int hop) const
{
    return hop >= 1 && hop <= int(m_rows.size()) ? m_rows[hop - 1].history : m_empty.history;
}

qsizetype PathModel::historyBytes() const
{
    qsizetype bytes = 0;
    for (const Row& row : m_rows)
        bytes += row.history.bytes();
    return bytes;
}

} // namespace monitor
