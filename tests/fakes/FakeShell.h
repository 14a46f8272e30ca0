#pragma once
#include "platform/Shell.h"

#include <QStringList>

class FakeShell final : public Shell {
public:
    int open(const QString& path) override
    {
        opened << path;
        return status;
    }
    QStringList opened;
    int status = 42;
};
