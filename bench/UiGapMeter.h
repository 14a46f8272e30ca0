#pragma once
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <algorithm>
#include <utility>

// How long the UI thread went without serving a 5 ms timer: how long the window froze. Gaps
// count from start() on.
class UiGapMeter {
public:
    UiGapMeter()
    {
        m_clock.start();
        m_ticker.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_ticker, &QTimer::timeout, [this] {
            const qint64 now = m_clock.nsecsElapsed();
            if (m_measuring)
                m_longest = std::max(m_longest, now - m_last);
            m_last = now;
        });
        m_ticker.start(5);
    }
    void start()
    {
        m_last = m_clock.nsecsElapsed();
        m_measuring = true;
    }
    qint64 elapsedNs() const { return m_clock.nsecsElapsed(); }
    double longestMs() const { return m_longest / 1e6; }
    // The longest gap so far, and from now on a new one.
    double takeLongestMs() { return std::exchange(m_longest, 0) / 1e6; }

private:
    QElapsedTimer m_clock;
    QTimer m_ticker;
    qint64 m_last = 0;
    qint64 m_longest = 0;
    bool m_measuring = false;
};
