#include "ReferralSafety.h"

namespace whois {
namespace {

// An IPv4 address written as IPv6 (::ffff:a.b.c.d) is judged as the IPv4 address it is.
QHostAddress plain(const QHostAddress& address)
{
    bool mapped = false;
    const quint32 v4 = address.toIPv4Address(&mapped);
    return mapped && address.protocol() == QAbstractSocket::IPv6Protocol ? QHostAddress(v4) : address;
}

bool inAny(const QHostAddress& address, std::initializer_list<const char*> subnets)
{
    for (const char* subnet : subnets) {
        if (address.isInSubnet(QHostAddress::parseSubnet(QLatin1String(subnet))))
            return true;
    }
    return false;
}

bool isPrivate(const QHostAddress& address)
{
    return inAny(address, {"10.0.0.0/8", "172.16.0.0/12", "192.168.0.0/16", "fc00::/7"});
}

} // namespace

Refusal refusePort(quint16 port)
{
    return port == 43 || port == 4321 ? Refusal::None : Refusal::Port;
}

Refusal refuseAddress(const QHostAddress& to, const QHostAddress& typed)
{
    const QHostAddress address = plain(to), from = plain(typed);
    if (address.isNull() || inAny(address, {"0.0.0.0/8", "::/128"}))
        return Refusal::Unspecified;
    if (address.isLoopback())
        return from.isLoopback() ? Refusal::None : Refusal::Loopback;
    if (address.isLinkLocal())
        return Refusal::LinkLocal;
    if (address.isMulticast() || address.isBroadcast())
        return Refusal::Multicast;
    if (isPrivate(address))
        return isPrivate(from) ? Refusal::None : Refusal::Private;
    return Refusal::None;
}

QString refusalReason(Refusal refusal)
{
    switch (refusal) {
    case Refusal::None: return {};
    case Refusal::Port: return QStringLiteral("only ports 43 and 4321 are followed");
    case Refusal::Unspecified: return QStringLiteral("its address is unspecified");
    case Refusal::Loopback: return QStringLiteral("its address is on this computer");
    case Refusal::LinkLocal: return QStringLiteral("its address is link-local");
    case Refusal::Private: return QStringLiteral("its address is on a private network");
    case Refusal::Multicast: return QStringLiteral("its address is not a single host");
    }
    return {};
}

} // namespace whois
