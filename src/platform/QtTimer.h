#pragma once
#include "Timer.h"

#include <QTimer>

class QtTimer final : public Timer {
    Q_OBJECT
public:
    explicit QtTimer(QObject* parent = nullptr);

    void setInterval(int milliseconds) override;
    int interval() const override { return m_interval; }
    void setEnabled(bool enabled) override;
    bool isEnabled() const override { return m_enabled; }

private:
    void restart();

    QTimer m_timer;
    int m_interval = 0;
    bool m_enabled = false;
};
