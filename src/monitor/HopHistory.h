#pragma once
#include <QList>
#include <QtGlobal>

#include <optional>

// One hop's history for a chart: the newest raw samples, and every sample also folded into
// fixed-length time buckets (min, avg, max, loss) for longer views. Both are rings: once full,
// the oldest entry is overwritten, so a round costs O(1) however long the run, and memory is
// fixed by the limits.
//
// Memory, for a 24 h run of 30 hops at one round a second, with the default limits:
//   raw samples  3,600 per hop × 16 bytes (time 8 + rtt 4 + padding)   =    57.6 kB
//   buckets     10,080 per hop × 32 bytes (7 days of minutes)          =   322.6 kB
//                (after 24 h 1,440 of them exist, in room for 2,048: 66 kB)
//   per hop at most 380 kB: 30 hops take 3.7 MB after a day and 11.4 MB from a week on, and
//   64 hops (the model's cap) 24.4 MB, however long the run: well under 64 MB.
namespace monitor {

struct HistoryLimits {
    int rawSamples = 3600;          // an hour at one round a second
    int buckets = 7 * 24 * 60;      // a week of one-minute buckets
    qint64 bucketMs = 60 * 1000;
};

// A ring that grows up to its capacity and then overwrites its oldest entry.
template <typename T>
class Ring {
public:
    explicit Ring(int capacity) : m_capacity(qMax(1, capacity)) {}
    void push(const T& item)
    {
        if (m_items.size() < m_capacity) {
            // Grown by hand so the list never holds more room than the capacity.
            if (m_items.size() == m_items.capacity())
                m_items.reserve(qMin<qsizetype>(m_capacity, qMax<qsizetype>(64, 2 * m_items.size())));
            m_items.append(item);
            return;
        }
        m_items[m_head] = item;
        m_head = (m_head + 1) % m_capacity;
    }
    int size() const { return int(m_items.size()); }
    bool isEmpty() const { return m_items.isEmpty(); }
    // 0 is the oldest.
    const T& at(int i) const { return m_items.at((m_head + i) % m_items.size()); }
    T& newest() { return m_items[(m_head + m_items.size() - 1) % m_items.size()]; }
    QList<T> inOrder() const
    {
        QList<T> out;
        out.reserve(m_items.size());
        for (int i = 0; i < size(); ++i)
            out.append(at(i));
        return out;
    }
    // Bytes held, counting the list's spare room.
    qsizetype bytes() const { return m_items.capacity() * qsizetype(sizeof(T)); }
    void clear()
    {
        m_items.clear();
        m_head = 0;
    }

private:
    QList<T> m_items;
    int m_capacity;
    int m_head = 0;   // the oldest entry, once the ring is full
};

class HopHistory {
public:
    struct Sample {
        qint64 atMs = 0;
        float rttMs = 0;
        bool lost() const { return rttMs < 0; }
    };
    struct Bucket {
        qint64 startMs = 0;
        float bestMs = 0;
        float worstMs = 0;
        double sumMs = 0;
        quint32 sent = 0;
        quint32 received = 0;
        // Nothing when every probe of the bucket was lost.
        double avgMs() const { return received ? sumMs / received : 0.0; }
        double lossPercent() const { return sent ? 100.0 * (sent - received) / sent : 0.0; }
    };

    explicit HopHistory(const HistoryLimits& limits = {});

    void addLoss(qint64 atMs);
    void addReply(qint64 atMs, double rttMs);

    QList<Sample> samples() const { return m_samples.inOrder(); }
    QList<Bucket> buckets() const { return m_buckets.inOrder(); }
    int sampleCount() const { return m_samples.size(); }
    int bucketCount() const { return m_buckets.size(); }
    qsizetype bytes() const { return m_samples.bytes() + m_buckets.bytes(); }

private:
    void fold(qint64 atMs, std::optional<double> rttMs);

    qint64 m_bucketMs;
    Ring<Sample> m_samples;
    Ring<Bucket> m_buckets;
};

} // namespace monitor
