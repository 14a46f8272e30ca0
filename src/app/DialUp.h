#pragma once
#include "platform/InterfaceList.h"

// Dial-up connections are point-to-point links (PPP, tunnels): the first one that is up
// and running with an IPv4 or a global IPv6 address counts as a connected dial-up connection.
inline constexpr quint32 RASCS_Connected = 0x2000;

// RASCS_Connected when such a link exists, 0 when none does.
quint32 firstDialUpConnectionState(const std::vector<NetInterface>& interfaces);
