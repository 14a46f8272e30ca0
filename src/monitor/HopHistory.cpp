#include "HopHistory.h"

#include <algorithm>

namespace monitor {

// The sizes the memory arithmetic in HopHistory.h counts on.
static_assert(sizeof(HopHistory::Sample) == 16 && sizeof(HopHistory::Bucket) == 32);

HopHistory::HopHistory(const HistoryLimits& limits)
    : m_bucketMs(qMax<qint64>(1, limits.bucketMs))
    , m_samples(limits.rawSamples)
    , m_buckets(limits.buckets)
{
}

void HopHistory::addLoss(qint64 atMs)
{
    m_samples.push({atMs, -1.0f});
    fold(atMs, std::nullopt);
}

void HopHistory::addReply(qint64 atMs, double rttMs)
{
    m_samples.push({atMs, float(std::max(0.0, rttMs))});
    fold(atMs, rttMs);
}

// A sample goes to the bucket of the period its time falls in. A clock set back never
// reopens an old bucket: the sample joins the newest one.
void HopHistory::fold(qint64 atMs, std::optional<double> rttMs)
{
    const qint64 start = atMs - ((atMs % m_bucketMs) + m_bucketMs) % m_bucketMs;
    if (m_buckets.isEmpty() || start > m_buckets.newest().startMs)
        m_buckets.push({start, 0, 0, 0, 0, 0});
    Bucket& bucket = m_buckets.newest();
    ++bucket.sent;
    if (!rttMs)
        return;
    const float rtt = float(*rttMs);
    bucket.bestMs = bucket.received ? std::min(bucket.bestMs, rtt) : rtt;
    bucket.worstMs = bucket.received ? std::max(bucket.worstMs, rtt) : rtt;
    bucket.sumMs += *rttMs;
    ++bucket.received;
}

} // namespace monitor
