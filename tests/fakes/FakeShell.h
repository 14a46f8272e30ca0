#pragma once
#include "platform/Shell.h"

#include <QString>
#include <QStringList>

// Opens nothing; remembers what it was asked to open and answers `status`.
class FakeShell final : public Shell {
public:
    qint32 open(qint64 /*ownerWindow*/, const QString& path) override
    {
        opened << path;
        return status;
    }
    QStringList opened;
    qint32 status = kOpened;
};
