#pragma once
#include "Platform.h"

#include <memory>

// The real adapters, wired together for the program.
class RealPlatform {
public:
    RealPlatform();
    ~RealPlatform();
    const Platform& platform() const { return m_platform; }

private:
    struct Adapters;
    std::unique_ptr<Adapters> m_adapters;
    Platform m_platform;
};
