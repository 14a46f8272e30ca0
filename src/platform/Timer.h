#pragma once
#include <QObject>

// A timer that ticks every interval() ms while enabled; an interval of 0 never ticks.
class Timer : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    virtual void setInterval(int milliseconds) = 0;
    virtual int interval() const = 0;
    virtual void setEnabled(bool enabled) = 0;
    virtual bool isEnabled() const = 0;

signals:
    void tick();
};
