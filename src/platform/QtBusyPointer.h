#pragma once
#include "BusyPointer.h"

class QtBusyPointer final : public BusyPointer {
public:
    ~QtBusyPointer() override;
    void setBusy(bool busy) override;
    bool isBusy() const override { return m_busy; }

private:
    bool m_busy = false;
};
