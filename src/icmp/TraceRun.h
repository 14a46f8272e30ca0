#pragma once
#include "ProbeRun.h"

#include <optional>

// The routers on the way to the target, one report per hop in hop order. Every hop gets its
// first probe at once. A hop that has not answered is given up after its wait: two seconds,
// or, once a farther hop has answered, a few times that hop's round trip (like the "near"
// wait of traceroute). Its second and third probes go out within that wait, a third and two thirds
// into it, so a silent hop costs one wait, never one per probe.
class TraceRun final : public ProbeRun {
    Q_OBJECT
public:
    static constexpr int kMaxHops = 30;
    static constexpr int kProbesPerHop = 3;
    // A hop nearer than one that answered would have answered by this many times that hop's
    // round trip. traceroute waits 10 times; routers that answer at all are well inside 8,
    // and each step less is a tenth off the time a silent hop costs. The floor keeps a hop's
    // wait above the scheduling jitter of a fast path.
    static constexpr int kNearFactor = 8;
    static constexpr qint64 kNearFloorNs = 10 * kMillisecond;

    using ProbeRun::ProbeRun;

private:
    struct Hop {
        int probesSent = 0;
        qint64 firstSentNs = 0;
        std::optional<Reply> reply;
        bool silent = false;
    };

    void begin() override;
    void onReply(const Reply& reply) override;
    void onTime(qint64 nowNs) override;
    qint64 nextDeadline() const override;
    bool probe(int hop);
    bool pending(int hop) const;
    qint64 waitOf(int hop) const;
    qint64 nextProbeAt(int hop) const;
    void reportReadyHops();

    std::array<Hop, kMaxHops + 1> m_hops{};   // index = hop number; 0 unused
    int m_lastHop = kMaxHops;                 // the target's hop or the one that refused, once known
    int m_nextReport = 1;
};
