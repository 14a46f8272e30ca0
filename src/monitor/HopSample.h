#pragma once
#include <QHostAddress>
#include <QList>

// What the monitor is fed: one round is one probe to every hop of the path, sent together,
// each with its outcome once its wait is over. The engine decides what "over" means; the model
// only counts.
namespace monitor {

struct HopSample {
    bool answered = false;
    QHostAddress responder;     // who answered; null when lost
    double rttMs = 0;
    bool fromTarget = false;    // the answer came from the host being monitored
    bool unreachable = false;   // a destination-unreachable answer: the path ends at this hop

    static HopSample lost() { return {}; }
    static HopSample reply(const QHostAddress& from, double rttMs, bool fromTarget = false)
    {
        return {.answered = true, .responder = from, .rttMs = rttMs, .fromTarget = fromTarget, .unreachable = false};
    }
    static HopSample unreachableFrom(const QHostAddress& from, double rttMs, bool fromTarget = false)
    {
        return {.answered = true, .responder = from, .rttMs = rttMs, .fromTarget = fromTarget, .unreachable = true};
    }
};

struct Round {
    qint64 atMs = 0;            // when the round was sent, from the caller's clock (ms since the epoch)
    QList<HopSample> hops;      // hops[0] is the probe with TTL 1
};

} // namespace monitor
