#pragma once
#include "platform/ui/Dialogs.h"

class FakeBusyPointer final : public BusyPointer {
public:
    void setBusy(bool busy) override { m_busy = busy; ++changes; }
    bool isBusy() const override { return m_busy; }
    int changes = 0;

private:
    bool m_busy = false;
};
