#pragma once
#include "NameLookup.h"

// getaddrinfo() and getnameinfo() on worker threads of their own.
class SystemNameLookup final : public NameLookup {
public:
    void addressOf(const QString& host, QObject* context,
                   std::function<void(std::optional<QHostAddress>)> done) override;
    void nameOf(const QHostAddress& address, QObject* context, std::function<void(QString)> done) override;
};
