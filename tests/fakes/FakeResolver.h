#pragma once
#include "platform/Resolver.h"

#include <QSet>

// Names resolve unless the test lists them as unknown.
class FakeResolver final : public Resolver {
public:
    bool gethostbyname(const QByteArray& host) override
    {
        checked << host;
        return !unknown.contains(host);
    }
    QSet<QByteArray> unknown;
    QList<QByteArray> checked;
};
