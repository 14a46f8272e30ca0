#pragma once
#include <QHostAddress>
#include <QObject>
#include <QString>

#include <QList>

#include <functional>
#include <optional>

// The addresses getaddrinfo() gives for `host`, IPv4 and IPv6 in its order; an IPv6 address keeps
// its interface ("fe80::1%eth0"). With `writtenOut`, only an address written out is taken and no
// name server is asked. Otherwise it blocks as long as the resolver does: call it off the UI thread.
QList<QHostAddress> systemAddressesOf(const QByteArray& host, bool writtenOut = false);

// Forward and reverse lookups through the system resolver. Both run off the UI thread
// and may take as long as the resolver does. `done` runs on the thread of `context`,
// never after `context` is destroyed.
class NameLookup {
public:
    virtual ~NameLookup() = default;
    // The first IPv4 address of `host`; the first IPv6 one when it has no IPv4 address;
    // nothing when it has neither.
    virtual void addressOf(const QString& host, QObject* context,
                           std::function<void(std::optional<QHostAddress>)> done) = 0;
    // The name of `address`, empty when it has none.
    virtual void nameOf(const QHostAddress& address, QObject* context, std::function<void(QString)> done) = 0;
};

// getaddrinfo() and getnameinfo() on worker threads of their own.
class SystemNameLookup final : public NameLookup {
public:
    void addressOf(const QString& host, QObject* context,
                   std::function<void(std::optional<QHostAddress>)> done) override;
    void nameOf(const QHostAddress& address, QObject* context, std::function<void(QString)> done) override;
};
