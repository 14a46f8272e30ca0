#pragma once
#include "NameLookup.h"

// getaddrinfo() and getnameinfo() on worker threads of their own.
class SystemNameLookup final : public NameLookup {
public:
    void addressOf(const QString& host, QObject* context, std::function<void(std::optional<quint32>)> done) override;
    void nameOf(quint32 address, QObject* context, std::function<void(QString)> done) override;
};
