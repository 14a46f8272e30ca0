#include "EngineClock.h"

#include <QTimer>

#include <ctime>

namespace {

qint64 readClock(clockid_t id)
{
    timespec ts;
    ::clock_gettime(id, &ts);
    return qint64(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

class QtEngineAlarm final : public EngineAlarm {
public:
    explicit QtEngineAlarm(std::function<void()> fire)
    {
        // Probe waits of a few milliseconds must not be stretched by a coarse timer.
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setSingleShot(true);
        QObject::connect(&m_timer, &QTimer::timeout, std::move(fire));
    }
    void setDeadline(qint64 monotonicNs) override
    {
        const qint64 waitNs = std::max<qint64>(0, monotonicNs - readClock(CLOCK_MONOTONIC));
        // Rounded up: waking early would only find the deadline not yet reached.
        m_timer.start(int(std::min<qint64>((waitNs + 999999) / 1000000, 24 * 3600 * 1000)));
    }
    void cancel() override { m_timer.stop(); }

private:
    QTimer m_timer;
};

} // namespace

qint64 QtEngineClock::monotonicNs() const
{
    return readClock(CLOCK_MONOTONIC);
}

qint64 QtEngineClock::realtimeNs() const
{
    return readClock(CLOCK_REALTIME);
}

std::unique_ptr<EngineAlarm> QtEngineClock::createAlarm(std::function<void()> fire)
{
    return std::make_unique<QtEngineAlarm>(std::move(fire));
}
