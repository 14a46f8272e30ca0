#pragma once
#include "Resolver.h"

class SystemResolver final : public Resolver {
public:
    bool gethostbyname(const QByteArray& host) override;
};
