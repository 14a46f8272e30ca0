#pragma once
#include <QHostAddress>
#include <QString>

// Where a referral may take the program: a remote answer must not send it anywhere the user
// would not go, such as a service on this computer or on the local network.
namespace whois {

enum class Refusal {
    None,          // allowed
    Port,          // a port other than 43 (whois) and 4321 (rwhois)
    Unspecified,   // 0.0.0.0/8, ::
    Loopback,      // 127.0.0.0/8, ::1, unless the typed server was one
    LinkLocal,     // 169.254.0.0/16, fe80::/10
    Private,       // RFC 1918, fc00::/7 (ULA), unless the typed server was one
    Multicast,     // multicast and broadcast: never a whois server
};

Refusal refusePort(quint16 port);

// Whether a referral may connect to `to`, given the address the typed server had (`typed`;
// null when unknown, which counts as a public one). A private or loopback address is allowed
// only when the typed server was in the same kind of range: a user who asks a server on the
// local network or on this computer may be referred within it, nobody else.
Refusal refuseAddress(const QHostAddress& to, const QHostAddress& typed);

// The end of the line that says why a referral was not followed, after "not followed: ".
QString refusalReason(Refusal refusal);

} // namespace whois
