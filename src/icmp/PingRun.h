#pragma once
#include "ProbeRun.h"

// Four echo requests, one a second, each awaited up to two seconds; a report per result.
class PingRun final : public ProbeRun {
    Q_OBJECT
public:
    static constexpr int kEchoes = 4;
    static constexpr qint64 kIntervalNs = 1000 * kMillisecond;

    using ProbeRun::ProbeRun;

private:
    struct Echo {
        enum class State { Unsent, Waiting, Done };
        State state = State::Unsent;
        qint64 sentNs = 0;
    };

    void begin() override;
    void onReply(const Reply& reply) override;
    void onTime(qint64 nowNs) override;
    qint64 nextDeadline() const override;
    void sendNext();
    void finishWhenDone();

    std::array<Echo, kEchoes> m_echoes{};
    int m_sent = 0;
    qint64 m_startNs = 0;
};
