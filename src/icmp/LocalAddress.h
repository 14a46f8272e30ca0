#pragma once
#include "platform/InterfaceList.h"

#include <QString>

// The address this machine shows as its own: the IPv4 address of the interface carrying the
// default route; failing that, of the first up, non-loopback interface with one. A machine
// without any IPv4 address of its own shows its global IPv6 address, chosen the same way
// (its default route's interface first). Failing all of that, "127.0.0.1".
QString chooseLocalIp(const std::vector<NetInterface>& interfaces, const InterfaceList& routes);

QString dottedQuad(quint32 hostOrderAddress);
