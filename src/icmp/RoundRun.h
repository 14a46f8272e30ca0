#pragma once
#include "ProbeRun.h"

#include <deque>
#include <vector>

// Rounds for a path monitor: every interval, one probe to every hop at once (TTL 1..hops), as mtr
// sends them. Each probe is awaited at most kProbeWaitNs by the monotonic clock; an answer after
// that, or one whose trip time says it outlived that wait (a machine suspended meanwhile), counts
// as lost. A round is handed over, in the order rounds were sent, once each of its probes has
// answered or been given up. A probe the kernel refuses to send (no route, interface down) is
// lost, not an end: the rounds go on and pick up when the network comes back.
class RoundRun final : public ProbeRun {
    Q_OBJECT
public:
    static constexpr int kMaxHops = 30;
    static constexpr qint64 kMinIntervalNs = 100 * kMillisecond;
    static constexpr qint64 kMaxIntervalNs = 60000 * kMillisecond;

    struct HopAnswer {
        bool answered = false;
        QHostAddress responder;
        qint64 tripNs = 0;
        icmp::AnswerKind kind = icmp::AnswerKind::EchoReply;
    };
    struct Result {
        int number = 0;              // rounds count from 1
        qint64 sentRealNs = 0;       // when it was sent, by the wall clock (for a chart's time axis)
        std::vector<HopAnswer> hops;   // hops[0] is TTL 1
        int sendErrno = 0;           // the first send the kernel refused in this round; 0 when none
    };
    using RoundDone = std::function<void(const Result&)>;

    // `deliver` gets only faults (the socket) and the run's end; rounds go to `roundDone`.
    RoundRun(const IcmpAdapters& adapters, const QHostAddress& target, Deliver deliver, RoundDone roundDone,
             QObject* parent);

    // Clamped to kMinIntervalNs..kMaxIntervalNs; the next round goes out one new interval after the last.
    void setIntervalNs(qint64 intervalNs);
    qint64 intervalNs() const { return m_intervalNs; }
    // How many hops the next rounds probe, 1..kMaxHops. Once the target answers at hop h, in any
    // round, the next rounds probe up to h + 1 (a path that grows shows at the hop past the end).
    void setHops(int hops);
    int hops() const { return m_hops; }
    // Paused: no new rounds; those in flight still finish.
    void setPaused(bool paused);
    bool paused() const { return m_paused; }

private:
    struct Pending {
        Result result;
        qint64 sentMonoNs = 0;
        std::vector<bool> settled;
        int open = 0;
    };

    void begin() override;
    void onReply(const Reply& reply) override;
    void onTime(qint64 nowNs) override;
    qint64 nextDeadline() const override;
    void sendRound();
    void settle(Pending& round, int hop);
    void handOverSettled();
    Pending* find(int number);

    RoundDone m_roundDone;
    qint64 m_intervalNs = 1000 * kMillisecond;
    int m_hops = kMaxHops;
    bool m_paused = false;
    int m_nextNumber = 1;
    qint64 m_lastRoundNs = 0;
    std::deque<Pending> m_pending;   // in the order sent
};
