#pragma once
#include "PathModel.h"

#include <QHostAddress>
#include <QList>
#include <QString>

// The monitor's verdict: what the table means, in one or two plain sentences, and which hops
// the window should mark. Recomputed from the model after every round; cheap (O(hops²) at
// worst, over at most PathModel::kMaxHops hops).
namespace monitor {

struct Target {
    QString host;             // as the user typed it
    QHostAddress address;     // the numeric address probed
};

struct HopFlags {
    bool rateLimited = false;   // answers fewer probes than later hops receive: not path loss
    bool lossBegins = false;    // the hop where loss that reaches the target first shows
    bool delayRises = false;    // delay rises here and stays up to the target
};

struct Verdict {
    enum class Kind {
        NoRounds,
        NoLoss,
        LossBegins,
        TargetSilent,
        FirstHopDown,   // nothing answers now, and the first hop did before
    };
    Kind kind = Kind::NoRounds;
    QString text;
    int hop = 0;              // the hop the first sentence names; 0 when none
    int delayHop = 0;         // the hop of the largest delay step; 0 when none
    QList<HopFlags> flags;    // flags[0] is hop 1, for hops 1..hopCount()

    bool rateLimited(int hop) const { return hop >= 1 && hop <= flags.size() && flags[hop - 1].rateLimited; }
};

// Numbers the rules use; the reasons are with the rules in Verdict.cpp.
inline constexpr double kLossSigmas = 4.0;
inline constexpr double kLossFloorPercent = 2.0;
inline constexpr int kSilentRounds = 10;
inline constexpr double kDelayFloorMs = 10.0;
inline constexpr double kDelayJitterFactor = 3.0;
inline constexpr int kDelayMinAnswers = 5;

Verdict judge(const PathModel& model, const Target& target);

// Whether hop `a` loses more than hop `b` by more than sampling noise explains.
bool clearlyMoreLoss(const HopStats& a, const HopStats& b);

// Numbers as the sentences write them: "19" and "0.3" (percent), "23.4" and "140" (ms).
QString percentText(double percent);
QString msText(double ms);

} // namespace monitor
