#pragma once
#include "ProbeRun.h"

// The routers on the way to the target, one row per hop in hop order. Every hop is probed
// at once; a hop gets up to three probes, each awaited up to two seconds, or only a few
// times the round trip of a farther hop that has answered already.
class TraceRun final : public ProbeRun {
    Q_OBJECT
public:
    static constexpr int kMaxHops = 30;
    static constexpr int kProbesPerHop = 3;
    static constexpr qint64 kProbeTimeoutNs = 2000 * kMillisecond;
    // A hop closer than one that answered would have answered by a few times that round
    // trip (the "near" wait of traceroute); the floor absorbs the scheduler's jitter.
    static constexpr int kNearFactor = 10;
    static constexpr qint64 kNearFloorNs = 2 * kMillisecond;

    using ProbeRun::ProbeRun;

private:
    struct Hop {
        int probesSent = 0;
        qint64 lastSentNs = 0;
        bool answered = false;
        bool silent = false;
        Reply reply;
    };

    void begin() override;
    void onReply(const Reply& reply) override;
    void onTime(qint64 nowNs) override;
    qint64 nextDeadline() const override;
    bool probe(int hop);
    qint64 giveUpAt(int hop) const;
    void listReadyHops();

    std::array<Hop, kMaxHops + 1> m_hops{};   // index = hop number; 0 unused
    int m_lastHop = kMaxHops;                 // the target's hop or the one that refused, once known
    int m_nextRow = 1;
};
