#pragma once
#include "platform/Timer.h"

// A timer that ticks only when the test fires it.
class FakeTimer final : public Timer {
    Q_OBJECT
public:
    using Timer::Timer;

    void setInterval(int milliseconds) override { m_interval = milliseconds; }
    int interval() const override { return m_interval; }
    void setEnabled(bool enabled) override { m_enabled = enabled; }
    bool isEnabled() const override { return m_enabled; }
    // Ticks as the real timer would: only while enabled with an interval.
    void fire()
    {
        if (m_enabled && m_interval > 0)
            emit tick();
    }

private:
    int m_interval = 0;
    bool m_enabled = false;
};
