#pragma once
// The ICMP control's events as one line each, for the engine tests and the real runs:
//   E|description   P|ip|name|trip|size|ttl   T|hop|ip|name|trip|description   C
#include "icmp/IcmpControl.h"

#include <functional>

// `cancel(hop)` is what TraceData for that hop hands back as its Cancel.
inline void logEvents(IcmpControl& c, std::function<void(const QString&)> log,
                      std::function<bool(int hop)> cancel = [](int) { return false; })
{
    using S = const QString&;
    QObject::connect(&c, &IcmpControl::Error, &c, [log](S description, Bool16) { log("E|" + description); });
    QObject::connect(&c, &IcmpControl::PingData, &c, [log](S ip, S name, S trip, S, qint32, qint16 size, quint8 ttl) {
        log(QStringLiteral("P|%1|%2|%3|%4|%5").arg(ip, name, trip).arg(size).arg(ttl));
    });
    const auto trace = [log, cancel](S ip, S name, S trip, S description, qint32, S hop, Bool16* stop) {
        log(QStringLiteral("T|%1|%2|%3|%4|%5").arg(hop, ip, name, trip, description));
        *stop = cancel(hop.toInt()) ? kTrue16 : kFalse16;
    };
    QObject::connect(&c, &IcmpControl::TraceData, &c, trace, Qt::DirectConnection);
    QObject::connect(&c, &IcmpControl::SequenceComplete, &c, [log] { log(QStringLiteral("C")); });
}

// The rows of a trace's silent hops from `first` to the last, hop 30.
inline QStringList silentHops(int first)
{
    QStringList rows;
    for (int n = first; n <= 30; ++n)
        rows << QStringLiteral("T|%1|*||*|Request timed out").arg(n);
    return rows;
}
