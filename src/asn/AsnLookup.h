#pragma once
#include "OriginRecord.h"

#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>

class TxtLookup;

namespace asn {

// What is known of the network an address is in.
struct Origin {
    quint32 asn = 0;
    QString prefix;     // "198.18.2.0/24"
    QString country;
    QString registry;
    QString name;       // empty until the AS name has come
};

// AS numbers, prefixes and AS names of addresses, asked of the zone's TXT records and kept for
// the program's life. One origin query is in flight at a time, so an address inside a prefix
// already answered is answered from it and a prefix is asked once; the name of each AS is asked
// once. Each query has a time limit; a failed address is asked again only after a minute.
class AsnLookup final : public QObject {
    Q_OBJECT
public:
    static constexpr int kDefaultTimeLimitMs = 4000;
    static constexpr int kRetryAfterMs = 60000;

    explicit AsnLookup(TxtLookup& dns, QObject* parent = nullptr);

    void setZone(const QString& zone) { m_zone = zone; }
    QString zone() const { return m_zone; }
    // Off: nothing more is asked (answers already kept stay).
    void setEnabled(bool enabled) { m_enabled = enabled; }
    bool enabled() const { return m_enabled; }
    void setTimeLimitMs(int ms) { m_timeLimitMs = ms; }

    // Asks for the origin of `address` unless it is known, being asked, not a public address,
    // or lookups are off. Never blocks; answers come through changed().
    void lookUp(const QHostAddress& address);
    // The origin of `address` with its AS name as far as known; nothing while unknown.
    std::optional<Origin> originOf(const QHostAddress& address) const;
    // Addresses asked whose answer (origin or name) has not come yet.
    int outstanding() const { return int(m_queue.size()) + (m_current.isNull() ? 0 : 1) + int(m_namesAsked.size()); }
    // Queries sent so far: origins and names.
    int queriesSent() const { return m_queries; }

signals:
    // An origin or an AS name arrived: whatever shows them may read originOf() again.
    void changed();
    // Nothing is outstanding any more.
    void settled();

private:
    struct Known {
        QPair<QHostAddress, int> prefix;
        Origin origin;   // without its name
    };
    const Known* knownFor(const QHostAddress& address) const;
    void sendNext();
    void originAnswered(const std::optional<QByteArrayList>& texts);
    void askName(quint32 asn);
    void finishIfSettled();

    TxtLookup& m_dns;
    QString m_zone = kDefaultZone;
    bool m_enabled = true;
    int m_timeLimitMs = kDefaultTimeLimitMs;
    int m_queries = 0;
    quint64 m_generation = 0;
    QList<Known> m_known;                       // answered prefixes, most specific first
    QHash<QHostAddress, qint64> m_failedAt;     // ms on m_clock
    QList<QHostAddress> m_queue;                // waiting for the query in flight
    QHostAddress m_current;                     // the address whose origin query is in flight
    QHash<quint32, QString> m_names;
    QHash<quint32, quint64> m_namesAsked;       // AS -> its query's generation
    QHash<quint32, qint64> m_nameFailedAt;     // ms on m_clock
    QElapsedTimer m_clock;
};

} // namespace asn
