#include "Verdict.h"

#include <algorithm>
#include <cmath>

namespace monitor {

namespace {

// ---- Comparing two hops' loss -------------------------------------------------------------
// Lost probes come at random, so two hops that lose the same share of packets still show
// slightly different numbers: over 300 rounds a link that loses 19% shows anything from about
// 13% to 25% at the hops behind it. One hop "loses clearly more" than another only when the
// difference is larger than that chance explains: more than 4 standard errors of the
// difference (a two-proportion test) and more than 2 percentage points. At 4 standard errors
// chance alone gets past the test about 3 times in 100,000 comparisons; with 30 hops compared
// after every round, that keeps the verdict from flickering. Early in a run the margin is wide,
// so the verdict only blames a hop once enough rounds back it up.
QString oneDecimal(double value)
{
    const QString text = QString::number(value, 'f', 1);
    return text.endsWith(QLatin1String(".0")) ? text.chopped(2) : text;
}

QString number(int value)
{
    return QString::number(value);
}

bool answered(const HopStats& hop)
{
    return hop.received() > 0;
}

QString addressOf(const HopStats& hop)
{
    return hop.mainResponder().toString();
}

// ---- Rule: a router that limits its replies -----------------------------------------------
// A router forwards packets in hardware but answers probes addressed to it in software, and
// many answer only a few a second. Such a hop shows loss, yet every later hop and the target
// receive everything it forwarded. So: a hop that answers, and loses clearly more than some
// later hop that answers, limits its replies; its loss is not loss on the path. Said as "Hop k
// (ADDRESS) does not answer every probe, but later hops lose nothing: that router limits its
// replies; this is not loss on the path." when the target loses nothing.
void flagRateLimited(const PathModel& model, int last, QList<HopFlags>& flags)
{
    for (int h = 1; h < last; ++h) {
        if (!answered(model.hop(h)))
            continue;
        for (int j = h + 1; j <= last && !flags[h - 1].rateLimited; ++j)
            flags[h - 1].rateLimited = answered(model.hop(j)) && clearlyMoreLoss(model.hop(h), model.hop(j));
    }
}

// ---- Rule: loss that begins at a hop and reaches the target -------------------------------
// Loss on a link shows at the hop just behind it and at every hop after it, the target
// included. So the loss begins at the nearest hop that answers, loses something, does not
// limit its replies, and from which on no answering hop loses clearly less than the target:
// the loss "carries on" to the target. The share named is that hop's loss less the loss of
// the nearest answering hop before it that does not limit its replies (what the link in
// between adds). Said as "Loss begins at hop k (ADDRESS) and reaches HOST: Y% of packets are
// lost between hop j and hop k.", j being that hop (k−1 unless it is silent or limits its
// replies; "this computer" when no hop before k counts).
int lossBegins(const PathModel& model, int targetHop, const QList<HopFlags>& flags)
{
    const HopStats& target = model.hop(targetHop);
    int begins = targetHop;
    for (int h = targetHop; h >= 1; --h) {
        const HopStats& hop = model.hop(h);
        if (!answered(hop))
            continue;
        if (clearlyMoreLoss(target, hop))
            break;
        if (hop.lost() > 0 && !flags[h - 1].rateLimited)
            begins = h;
    }
    return begins;
}

// The nearest answering hop before `hop` that does not limit its replies: the loss the link
// after it is measured from. 0 (this computer, no loss) when there is none.
int hopBefore(const PathModel& model, int hop, const QList<HopFlags>& flags)
{
    for (int h = hop - 1; h >= 1; --h) {
        if (answered(model.hop(h)) && !flags[h - 1].rateLimited)
            return h;
    }
    return 0;
}

// ---- Rule: a step in delay -----------------------------------------------------------------
// Each link adds its own delay; a long or congested one shows as a step: every hop from it to
// the target answers later than the hop before it. A router's own answers are slower and
// noisier than what it forwards, so a single slow hop whose later hops are fast again is not a
// step. A step counts when the lowest average from that hop to the target is above the
// average of the answering hop before it (this computer: 0 ms) by more than the larger of
// 10 ms and 3 times that hop's jitter: below 10 ms the difference is within what routers add
// when they answer themselves, and 3 times the jitter keeps ordinary variation of the hop
// before from counting. Only hops with at least 5 answers are compared. The largest step is
// said as "Delay rises by Z ms at hop k (ADDRESS)."; Z is the rise that lasts to the target.
int delaySteps(const PathModel& model, int targetHop, QList<HopFlags>& flags, double& rise)
{
    int largest = 0;
    rise = 0;
    double prevAvg = 0, prevJitter = 0;
    for (int h = 1; h <= targetHop; ++h) {
        const HopStats& hop = model.hop(h);
        if (hop.received() < kDelayMinAnswers)
            continue;
        double lowest = *hop.avg();
        for (int j = h + 1; j <= targetHop; ++j) {
            if (model.hop(j).received() >= kDelayMinAnswers)
                lowest = std::min(lowest, *model.hop(j).avg());
        }
        const double step = lowest - prevAvg;
        if (step > std::max(kDelayFloorMs, kDelayJitterFactor * prevJitter)) {
            flags[h - 1].delayRises = true;
            if (step > rise) {
                rise = step;
                largest = h;
            }
        }
        prevAvg = *hop.avg();
        prevJitter = *hop.jitter();
    }
    return largest;
}

// ---- Rule: the target does not answer -----------------------------------------------------
// The target does not answer when it never has, or when its last 10 probes were all lost (at
// 19% loss, 10 losses in a row happen by chance about once in 16 million rounds). The
// verdict then names the farthest hop that still answers (at least one of its last 10
// probes), which is where to look: "HOST does not answer; the last hop that answers is hop k
// (ADDRESS)." When no hop answers any more though the first hop did before, the computer's own
// link is the likely cause: "HOST does not answer, and the first hop (ADDRESS) stopped
// answering: this computer's link looks down."
bool answersNow(const HopStats& hop)
{
    return answered(hop) && hop.lossStreak() < kSilentRounds;
}

Verdict silentTarget(const PathModel& model, const Target& target)
{
    Verdict v;
    v.kind = Verdict::Kind::TargetSilent;
    const int before = model.targetHop() ? model.targetHop() - 1 : model.farthestAnswer();
    for (int h = before; h >= 1; --h) {
        if (answersNow(model.hop(h))) {
            v.hop = h;
            v.text = QStringLiteral("%1 does not answer; the last hop that answers is hop %2 (%3).")
                         .arg(target.host, number(h), addressOf(model.hop(h)));
            return v;
        }
    }
    if (answered(model.hop(1))) {
        v.kind = Verdict::Kind::FirstHopDown;
        v.hop = 1;
        v.text = QStringLiteral("%1 does not answer, and the first hop (%2) stopped answering: "
                                "this computer's link looks down.").arg(target.host, addressOf(model.hop(1)));
    } else {
        v.text = QStringLiteral("%1 does not answer, and no hop on the way answers either.").arg(target.host);
    }
    return v;
}

} // namespace

bool clearlyMoreLoss(const HopStats& a, const HopStats& b)
{
    if (a.sent() == 0 || b.sent() == 0)
        return false;
    const double pa = double(a.lost()) / a.sent();
    const double pb = double(b.lost()) / b.sent();
    const double pooled = double(a.lost() + b.lost()) / (a.sent() + b.sent());
    const double error = std::sqrt(pooled * (1 - pooled) * (1.0 / a.sent() + 1.0 / b.sent()));
    return pa - pb > std::max(kLossFloorPercent / 100, kLossSigmas * error);
}

QString percentText(double percent)
{
    return percent >= 10 ? QString::number(std::lround(percent)) : oneDecimal(percent);
}

QString msText(double ms)
{
    return ms >= 100 ? QString::number(std::lround(ms)) : oneDecimal(ms);
}

Verdict judge(const PathModel& model, const Target& target)
{
    if (model.rounds() == 0) {
        Verdict v;
        v.text = QStringLiteral("No rounds yet.");
        return v;
    }
    QList<HopFlags> flags(model.hopCount());
    flagRateLimited(model, model.hopCount(), flags);

    const int targetHop = model.targetHop();
    if (targetHop == 0 || !answersNow(model.hop(targetHop))) {
        Verdict v = silentTarget(model, target);
        v.flags = flags;
        return v;
    }

    Verdict v;
    v.kind = Verdict::Kind::NoLoss;
    const HopStats& end = model.hop(targetHop);
    if (end.lost() == 0) {
        v.text = QStringLiteral("No loss to %1 (%2) in %3 rounds; average %4 ms.")
                     .arg(target.host, target.address.toString(), number(model.rounds()), msText(*end.avg()));
    } else {
        v.kind = Verdict::Kind::LossBegins;
        v.hop = lossBegins(model, targetHop, flags);
        flags[v.hop - 1].lossBegins = true;
        // Measured from the nearest hop before that answers for itself, which is also the one named.
        const int from = hopBefore(model, v.hop, flags);
        const double added = std::max(0.0, model.hop(v.hop).lossPercent() - (from ? model.hop(from).lossPercent() : 0.0));
        const QString before = from == 0 ? QStringLiteral("this computer") : QStringLiteral("hop %1").arg(from);
        v.text = QStringLiteral("Loss begins at hop %1 (%2) and reaches %3: %4% of packets are lost between %5 and hop %1.")
                     .arg(number(v.hop), addressOf(model.hop(v.hop)), target.host, percentText(added), before);
    }

    double rise = 0;
    v.delayHop = delaySteps(model, targetHop, flags, rise);
    const auto limited = std::find_if(flags.cbegin(), flags.cend(), [](const HopFlags& f) { return f.rateLimited; });
    if (end.lost() == 0 && limited != flags.cend()) {
        const int h = int(limited - flags.cbegin()) + 1;
        v.text += QStringLiteral(" Hop %1 (%2) does not answer every probe, but later hops lose nothing: "
                                 "that router limits its replies; this is not loss on the path.")
                      .arg(number(h), addressOf(model.hop(h)));
    } else if (v.delayHop) {
        v.text += QStringLiteral(" Delay rises by %1 ms at hop %2 (%3).")
                      .arg(msText(rise), number(v.delayHop), addressOf(model.hop(v.delayHop)));
    }
    v.flags = flags;
    return v;
}

} // namespace monitor
