#pragma once
#include "RunReport.h"

#include <QHostAddress>
#include <QString>

// Every text the ICMP control shows the user comes from here.
namespace icmp {

// "0.04 ms", "1.23 ms", "12.3 ms", "148 ms": about three significant digits.
QString tripTimeText(qint64 nanoseconds);
// "198.18.3.1", "2001:db8::1".
QString addressText(const QHostAddress& address);
// The name of an ICMP or ICMPv6 error, e.g. "Destination host unreachable".
QString errorName(Family family, quint8 type, quint8 code);
// An ICMP error as a ping shows it: its name and its sender.
QString errorFromText(Family family, quint8 type, quint8 code, const QHostAddress& sender);
// `detail`: the host for HostNotFound and TransmitFailed, the option for SocketSetupFailed,
// the program's own file for NoSocketPermission.
QString faultText(Fault fault, int errorNumber, const QString& detail = {});
// A run's fault as the user reads it, with what to change; `host` as the user typed it. A missing
// permission names the program's own file, which a setcap must name, not a launcher link to it.
QString runFaultText(const RunReport& report, const QString& host);
QString timedOutText();
QString successText();

} // namespace icmp
