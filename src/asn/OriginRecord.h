#pragma once
#include <QByteArrayView>
#include <QHostAddress>
#include <QPair>
#include <QString>

#include <optional>

// The TXT records of an origin lookup service (Team Cymru's format), and the names they are
// asked under:
//   D.C.B.A.origin.ZONE          "64500 | 198.18.2.0/24 | ZZ | lab | 2026-01-01"
//   <32 nibbles>.origin6.ZONE    the same for IPv6
//   AS64500.ZONE                 "64500 | ZZ | lab | 2026-01-01 | LAB-NET - Lab network, ZZ"
// Every record is hostile until checked: these are pure functions over its bytes.
namespace asn {

inline const QString kDefaultZone = QStringLiteral("asn.cymru.com");

struct OriginRecord {
    quint32 asn = 0;
    QPair<QHostAddress, int> prefix;   // the announced network the address is in
    QString country;
    QString registry;
};

// The address as IPv4 when it is an IPv4-mapped IPv6 one, else itself.
QHostAddress plain(const QHostAddress& address);

// True for an address some network announces: not loopback, link-local, RFC 1918, 100.64.0.0/10,
// unique-local, unspecified, multicast or broadcast. (198.18.0.0/15 is asked: the lab uses it.)
bool isLookedUp(const QHostAddress& address);

// The name to ask for the origin of `address` (an IPv4-mapped address as IPv4), under `zone`.
QString originQueryName(const QHostAddress& address, const QString& zone);
QString asNameQueryName(quint32 asn, const QString& zone);

// True for a zone a user may name: host-name labels (letters, digits, hyphens), at most 200 characters.
bool isValidZone(const QString& zone);

// The first AS number of an origin record whose prefix holds `address`; nothing for anything
// else (garbage, missing fields, a prefix elsewhere, a number out of range).
std::optional<OriginRecord> parseOriginRecord(QByteArrayView text, const QHostAddress& address);

// The name of `asn` from its record (pipes in the name kept, at most kMaxNameLength characters);
// nothing when the record is for another AS or has no name.
std::optional<QString> parseAsNameRecord(QByteArrayView text, quint32 asn);
inline constexpr int kMaxNameLength = 200;

} // namespace asn
