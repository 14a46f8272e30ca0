#pragma once
#include <QString>
#include <QtGlobal>

// Every text the ICMP control shows the user comes from here.
namespace icmp {

// What can go wrong in a run, apart from what the network answers.
enum class Fault {
    NoSocketPermission,     // neither a datagram nor a raw ICMP socket is allowed
    SocketFailed,           // the kernel refused a socket for another reason
    HostNotFound,           // the target has no IPv4 address
    TransmitFailed,         // sending a probe failed
};

// "0.04 ms", "1.23 ms", "12.3 ms", "148 ms": about three significant digits.
QString tripTimeText(qint64 nanoseconds);
// The name of an ICMP error, e.g. "Destination host unreachable".
QString errorName(quint8 type, quint8 code);
// An ICMP error as a ping shows it: its name and its sender.
QString errorFromText(quint8 type, quint8 code, quint32 sender);
QString faultText(Fault fault, int errorNumber, const QString& host = {});
QString timedOutText();
QString successText();

} // namespace icmp
