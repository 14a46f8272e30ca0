#pragma once
#include <QByteArrayList>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

// DNS TXT records through the system's resolver, asked without blocking the UI thread.
class TxtLookup {
public:
    virtual ~TxtLookup() = default;
    // `done` runs once, on the thread of `context` and never after it is destroyed, with one text
    // per record (its strings joined), an empty list when the name has none, or nothing when the
    // resolver failed.
    virtual void textsOf(const QString& name, QObject* context,
                         std::function<void(std::optional<QByteArrayList>)> done) = 0;
};

// QDnsLookup: it asks on Qt's own worker thread and answers on the thread of `context`.
class QtTxtLookup final : public TxtLookup {
public:
    void textsOf(const QString& name, QObject* context,
                 std::function<void(std::optional<QByteArrayList>)> done) override;
};
