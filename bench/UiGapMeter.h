#pragma once
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <algorithm>
#include <ctime>
#include <utility>

// How long the UI thread went without serving a 5 ms timer: how long the window froze. Gaps
// count from start() on. Beside each gap, the UI thread's own CPU time in it: on a machine busy
// with other work a gap is mostly waiting for a core, and that part is not the program's.
class UiGapMeter {
public:
    UiGapMeter()
    {
        m_clock.start();
        m_ticker.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_ticker, &QTimer::timeout, [this] {
            const qint64 now = m_clock.nsecsElapsed();
            const qint64 cpu = threadCpuNs();
            if (m_measuring) {
                m_longest = std::max(m_longest, now - m_last);
                m_longestCpu = std::max(m_longestCpu, cpu - m_lastCpu);
            }
            m_last = now;
            m_lastCpu = cpu;
        });
        m_ticker.start(5);
    }
    void start()
    {
        m_last = m_clock.nsecsElapsed();
        m_lastCpu = threadCpuNs();
        m_measuring = true;
    }
    qint64 elapsedNs() const { return m_clock.nsecsElapsed(); }
    double longestMs() const { return m_longest / 1e6; }
    // The most CPU time the UI thread spent in one gap.
    double longestCpuMs() const { return m_longestCpu / 1e6; }
    // The longest gap so far, and from now on a new one (the CPU time too).
    double takeLongestMs()
    {
        m_longestCpu = 0;
        return std::exchange(m_longest, 0) / 1e6;
    }

private:
    static qint64 threadCpuNs()
    {
        timespec t{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
        return qint64(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
    }

    QElapsedTimer m_clock;
    QTimer m_ticker;
    qint64 m_last = 0;
    qint64 m_longest = 0;
    qint64 m_lastCpu = 0;
    qint64 m_longestCpu = 0;
    bool m_measuring = false;
};
