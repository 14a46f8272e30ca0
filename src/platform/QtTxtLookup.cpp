#include "TxtLookup.h"

#include <QDnsLookup>

void QtTxtLookup::textsOf(const QString& name, QObject* context,
                          std::function<void(std::optional<QByteArrayList>)> done)
{
    // A child of the context: gone with it, so it never answers after it.
    auto* lookup = new QDnsLookup(QDnsLookup::TXT, name, context);
    QObject::connect(lookup, &QDnsLookup::finished, lookup, [lookup, done = std::move(done)] {
        lookup->deleteLater();
        if (lookup->error() == QDnsLookup::NotFoundError)
            return done(QByteArrayList());
        if (lookup->error() != QDnsLookup::NoError)
            return done(std::nullopt);
        QByteArrayList texts;
        for (const QDnsTextRecord& record : lookup->textRecords())
            texts << record.values().join();
        done(texts);
    });
    lookup->lookup();
}
