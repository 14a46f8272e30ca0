#pragma once
#include "platform/InterfaceList.h"

#include <QString>

// The address this machine shows as its own: that of the interface carrying the
// default route; failing that, the first up, non-loopback interface with an IPv4
// address; failing that, "127.0.0.1".
QString chooseLocalIp(const std::vector<NetInterface>& interfaces, const QString& defaultRouteInterface);

QString dottedQuad(quint32 hostOrderAddress);
