#pragma once
#include <QtGlobal>

#include <functional>
#include <memory>

// A single-shot alarm of an EngineClock. Destroying it cancels it.
class EngineAlarm {
public:
    virtual ~EngineAlarm() = default;
    // Replaces any earlier deadline (monotonic nanoseconds).
    virtual void setDeadline(qint64 monotonicNs) = 0;
    virtual void cancel() = 0;
};

// Time as the ICMP engine sees it, so that tests can make seconds pass at once.
class EngineClock {
public:
    virtual ~EngineClock() = default;
    virtual qint64 monotonicNs() const = 0;
    // The clock of the kernel's receive stamps.
    virtual qint64 realtimeNs() const = 0;
    // `fire` runs on the UI thread once the deadline has passed.
    virtual std::unique_ptr<EngineAlarm> createAlarm(std::function<void()> fire) = 0;
};

// The system's clocks and QTimer alarms.
class QtEngineClock final : public EngineClock {
public:
    qint64 monotonicNs() const override;
    qint64 realtimeNs() const override;
    std::unique_ptr<EngineAlarm> createAlarm(std::function<void()> fire) override;
};
