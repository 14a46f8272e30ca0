#include "QtTimer.h"

QtTimer::QtTimer(QObject* parent)
    : Timer(parent)
{
    // A coarse timer may be off by 5 %, a second and a half on the whois time-out.
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &Timer::tick);
}

void QtTimer::setInterval(int milliseconds)
{
    m_interval = milliseconds;
    restart();
}

void QtTimer::setEnabled(bool enabled)
{
    m_enabled = enabled;
    restart();
}

void QtTimer::restart()
{
    // Enabling or changing the interval starts the count afresh; an interval of 0 never ticks.
    m_timer.stop();
    if (m_enabled && m_interval > 0)
        m_timer.start(m_interval);
}
