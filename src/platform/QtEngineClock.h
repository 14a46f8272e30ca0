#pragma once
#include "EngineClock.h"

// The system's clocks and QTimer alarms.
class QtEngineClock final : public EngineClock {
public:
    qint64 monotonicNs() const override;
    qint64 realtimeNs() const override;
    std::unique_ptr<EngineAlarm> createAlarm(std::function<void()> fire) override;
};
