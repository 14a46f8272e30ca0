#include "AsnLookup.h"

#include "platform/TxtLookup.h"

#include <QTimer>

namespace asn {

AsnLookup::AsnLookup(TxtLookup& dns, QObject* parent)
    : QObject(parent), m_dns(dns)
{
    m_clock.start();
}

const AsnLookup::Known* AsnLookup::knownFor(const QHostAddress& address) const
{
    for (const Known& known : m_known) {
        if (address.isInSubnet(known.prefix))
            return &known;
    }
    return nullptr;
}

std::optional<Origin> AsnLookup::originOf(const QHostAddress& given) const
{
    const Known* known = knownFor(plain(given));
    if (!known)
        return std::nullopt;
    Origin origin = known->origin;
    origin.name = m_names.value(origin.asn);
    return origin;
}

void AsnLookup::lookUp(const QHostAddress& given)
{
    const QHostAddress address = plain(given);
    if (!m_enabled || !isLookedUp(address) || knownFor(address) || address == m_current || m_queue.contains(address))
        return;
    if (const auto failed = m_failedAt.constFind(address);
        failed != m_failedAt.cend() && m_clock.elapsed() - *failed < kRetryAfterMs)
        return;
    m_queue << address;
    if (m_current.isNull())
        sendNext();
}

void AsnLookup::sendNext()
{
    if (!m_current.isNull())
        return;
    // Addresses inside a prefix answered while they waited need no query of their own.
    while (!m_queue.isEmpty() && knownFor(m_queue.first()))
        m_queue.removeFirst();
    if (m_queue.isEmpty())
        return finishIfSettled();
    m_current = m_queue.takeFirst();
    const quint64 generation = ++m_generation;
    ++m_queries;
    m_dns.textsOf(originQueryName(m_current, m_zone), this, [this, generation](std::optional<QByteArrayList> texts) {
        if (generation == m_generation && !m_current.isNull())
            originAnswered(texts);
    });
    QTimer::singleShot(m_timeLimitMs, this, [this, generation] {
        if (generation == m_generation && !m_current.isNull())
            originAnswered(std::nullopt);
    });
}

void AsnLookup::originAnswered(const std::optional<QByteArrayList>& texts)
{
    ++m_generation;   // a late answer or time-out of this query is ignored
    // Several records: the most specific prefix that holds the address.
    std::optional<OriginRecord> best;
    for (const QByteArray& text : texts.value_or(QByteArrayList())) {
        const std::optional<OriginRecord> record = parseOriginRecord(text, m_current);
        if (record && (!best || record->prefix.second > best->prefix.second))
            best = record;
    }
    if (best) {
        const QHostAddress& address = m_current;
        // A prefix wider than any one network announces (/8, /16 in IPv6) stands for this address alone.
        const int narrowest = address.protocol() == QAbstractSocket::IPv4Protocol ? 8 : 16;
        const QPair<QHostAddress, int> kept = best->prefix.second >= narrowest
            ? best->prefix : qMakePair(address, address.protocol() == QAbstractSocket::IPv4Protocol ? 32 : 128);
        const Origin origin{best->asn, best->prefix.first.toString() + u'/' + QString::number(best->prefix.second),
                            best->country, best->registry, {}};
        const auto at = std::find_if(m_known.begin(), m_known.end(), [&](const Known& k) { return k.prefix.second <= kept.second; });
        m_known.insert(at, Known{kept, origin});
        if (!m_names.contains(best->asn))
            askName(best->asn);
    } else {
        m_failedAt.insert(m_current, m_clock.elapsed());
    }
    m_current.clear();
    sendNext();
    if (best)
        emit changed();
}

void AsnLookup::askName(quint32 asn)
{
    if (m_namesAsked.contains(asn))
        return;
    if (const auto failed = m_nameFailedAt.constFind(asn);
        failed != m_nameFailedAt.cend() && m_clock.elapsed() - *failed < kRetryAfterMs)
        return;
    const quint64 generation = ++m_generation;
    m_namesAsked.insert(asn, generation);
    ++m_queries;
    const auto answered = [this, asn, generation](const std::optional<QByteArrayList>& texts) {
        if (m_namesAsked.value(asn) != generation)
            return;
        m_namesAsked.remove(asn);
        std::optional<QString> name;
        for (const QByteArray& text : texts.value_or(QByteArrayList())) {
            if ((name = parseAsNameRecord(text, asn)))
                break;
        }
        if (name) {
            m_names.insert(asn, *name);
            emit changed();
        } else {
            m_nameFailedAt.insert(asn, m_clock.elapsed());
        }
        finishIfSettled();
    };
    m_dns.textsOf(asNameQueryName(asn, m_zone), this, answered);
    QTimer::singleShot(m_timeLimitMs, this, [answered] { answered(std::nullopt); });
}

void AsnLookup::finishIfSettled()
{
    if (outstanding() == 0)
        emit settled();
}

} // namespace asn
