#pragma once
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

// Forward and reverse lookups through the system resolver. Both run off the UI thread
// and may take as long as the resolver does. `done` runs on the thread of `context`,
// never after `context` is destroyed.
class NameLookup {
public:
    virtual ~NameLookup() = default;
    // The first IPv4 address of `host` (host byte order), nothing when it has none.
    virtual void addressOf(const QString& host, QObject* context, std::function<void(std::optional<quint32>)> done) = 0;
    // The name of `address`, empty when it has none.
    virtual void nameOf(quint32 address, QObject* context, std::function<void(QString)> done) = 0;
};
