#pragma once
#include "platform/InterfaceList.h"

#include <QString>

// What the interface list tells of this machine's connection.

// The address this machine shows as its own: the IPv4 address of the interface carrying the
// default route; failing that, of the first up, non-loopback interface with one. A machine
// without any IPv4 address of its own shows its global IPv6 address, chosen the same way
// (its default route's interface first). Failing all of that, "127.0.0.1".
QString chooseLocalIp(const std::vector<NetInterface>& interfaces, const InterfaceList& routes);

QString dottedQuad(quint32 hostOrderAddress);

// Dial-up connections are point-to-point links (PPP, tunnels): the first one that is up
// and running with an IPv4 or a global IPv6 address counts as a connected dial-up connection.
inline constexpr quint32 RASCS_Connected = 0x2000;

// RASCS_Connected when such a link exists, 0 when none does.
quint32 firstDialUpConnectionState(const std::vector<NetInterface>& interfaces);
