#pragma once

// The screen-wide mouse pointer: hourglass or default. A state, not a stack:
// setting the hourglass twice and the default once leaves the default pointer.
class BusyPointer {
public:
    virtual ~BusyPointer() = default;
    virtual void setBusy(bool busy) = 0;
    virtual bool isBusy() const = 0;
};
