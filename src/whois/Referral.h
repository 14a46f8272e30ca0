#pragma once
#include <QByteArrayView>
#include <QString>
#include <QStringView>

#include <optional>

// Where a whois answer sends the same query on: the pointers registries leave in their answers.
namespace whois {

inline constexpr quint16 kWhoisPort = 43;
inline constexpr quint16 kRwhoisPort = 4321;

struct Referral {
    QString host;   // a host name (lower case, no trailing dot) or an address, as the answer wrote it
    quint16 port = kWhoisPort;
    friend bool operator==(const Referral&, const Referral&) = default;
};

// The first pointer in `answer` to a server other than `asked` (the server that gave the answer),
// in any of these forms, each at the start of a line:
//   refer: HOST / whois: HOST                      the root server (whois.iana.org)
//   Registrar WHOIS Server: HOST / Whois Server:   a thin registry, within the first record
//                                                  (after its "Domain Name:" line); leading blanks allowed
//   ReferralServer: whois://HOST[:PORT][/]         an address registry; rwhois:// too (port 4321)
//   % referto: whois -h HOST -p PORT QUERY         address registries of the RIPE kind
// Comment lines ("%", "#") never start with these keys; other URL schemes, empty values and host names no host can have
// are not pointers. Only the first kReferralScanBytes are read: registries point on near the top
// of answers of a few kB, and a runaway answer of 32 MB is not searched on the UI thread.
inline constexpr qsizetype kReferralScanBytes = qsizetype(1) << 20;
std::optional<Referral> findReferral(QByteArrayView answer, const Referral& asked);

// HOST, HOST:PORT, [V6]:PORT or a whois:// or rwhois:// URL, as a referral; nothing when it is
// none of these, names another scheme or a host no host can have.
std::optional<Referral> parseServer(QByteArrayView text, quint16 defaultPort = kWhoisPort);

// Whether two names or addresses mean the same server (case and a trailing dot aside).
bool sameHost(QStringView a, QStringView b);

// The line a referred server is asked, as the Debian whois client sends it: a thin registry of
// .com and .net wants "domain NAME" (else host records of that name answer too), the American
// address registry "n + ADDRESS" for an address, "r + = PREFIX" for a prefix, "a N" for ASN.
// Any other server gets the query as typed.
QString referralQuery(QStringView server, const QString& query);

} // namespace whois
