#include "IcmpText.h"

#include "IcmpPacket.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <cerrno>
#include <cmath>
#include <cstring>

namespace icmp {
namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("AxIcmp", text);
}

const char* const kUnreachable[] = {
    // RFC 792 codes 0-5, RFC 1122 6-12, RFC 1812 13-15.
    "Destination net unreachable",
    "Destination host unreachable",
    "Destination protocol unreachable",
    "Destination port unreachable",
    "Fragmentation needed and DF set",
    "Source route failed",
    "Destination network unknown",
    "Destination host unknown",
    "Source host isolated",
    "Destination network administratively prohibited",
    "Destination host administratively prohibited",
    "Destination network unreachable for type of service",
    "Destination host unreachable for type of service",
    "Communication administratively prohibited",
    "Host precedence violation",
    "Precedence cutoff in effect",
};

// ICMPv6 codes (RFC 4443, 0-6), named like their IPv4 counterparts where there is one.
const char* const kV6Unreachable[] = {
    "Destination net unreachable",
    "Communication administratively prohibited",
    "Beyond scope of source address",
    "Destination host unreachable",
    "Destination port unreachable",
    "Source address failed ingress/egress policy",
    "Reject route to destination",
};

template <size_t N>
QString unreachableName(const char* const (&names)[N], quint8 code)
{
    if (code < N)
        return tr(names[code]);
    return tr("Destination unreachable (code %1)").arg(code);
}

QString otherError(quint8 type, quint8 code)
{
    return tr("ICMP error type %1 code %2").arg(type).arg(code);
}

} // namespace

QString tripTimeText(qint64 nanoseconds)
{
    const double ms = std::max<qint64>(0, nanoseconds) / 1e6;
    // Rounded before choosing the precision, so 9.996 ms reads "10.0 ms", not "10.00 ms".
    if (std::round(ms * 100) < 1000)
        return QString::number(ms, 'f', 2) + QStringLiteral(" ms");
    if (std::round(ms * 10) < 1000)
        return QString::number(ms, 'f', 1) + QStringLiteral(" ms");
    return QString::number(ms, 'f', 0) + QStringLiteral(" ms");
}

QString addressText(const QHostAddress& address)
{
    return address.toString();
}

QString errorName(Family family, quint8 type, quint8 code)
{
    if (family == Family::V6) {
        switch (type) {
        case kV6DestinationUnreachable: return unreachableName(kV6Unreachable, code);
        case kV6TimeExceeded: return code == 0 ? tr("TTL expired in transit") : tr("Fragment reassembly time exceeded");
        case kV6PacketTooBig: return tr("Packet too big");
        case kV6ParameterProblem: return tr("Parameter problem");
        default: return otherError(type, code);
        }
    }
    switch (type) {
    case kDestinationUnreachable: return unreachableName(kUnreachable, code);
    case kTimeExceeded: return code == 0 ? tr("TTL expired in transit") : tr("Fragment reassembly time exceeded");
    case kParameterProblem: return tr("Parameter problem");
    case kSourceQuench: return tr("Source quench");
    default: return otherError(type, code);
    }
}

QString errorFromText(Family family, quint8 type, quint8 code, const QHostAddress& sender)
{
    return tr("%1 (from %2)").arg(errorName(family, type, code), addressText(sender));
}

QString faultText(Fault fault, int errorNumber, const QString& detail)
{
    const QString reason = QString::fromLocal8Bit(std::strerror(errorNumber));
    switch (fault) {
    case Fault::NoSocketPermission:
        return tr("Not allowed to send ICMP (%1). Add your group to the sysctl net.ipv4.ping_group_range "
                  "(for example sysctl -w net.ipv4.ping_group_range=\"0 2147483647\") or give the program "
                  "the capability: setcap cap_net_raw+ep %2")
            .arg(reason, detail);
    case Fault::SocketFailed:
        return tr("Could not open an ICMP socket: %1").arg(reason);
    case Fault::SocketSetupFailed:
        return tr("Could not set up the ICMP socket (%1): %2").arg(detail, reason);
    case Fault::HostNotFound:
        return tr("No address found for %1").arg(detail);
    case Fault::TransmitFailed:
        if (errorNumber == ENETUNREACH)
            return tr("Transmit failed: no route to the destination network");
        if (errorNumber == EACCES)
            return tr("Transmit failed: %1 is a broadcast address").arg(detail);
        return tr("Transmit failed: %1").arg(reason);
    }
    return reason;
}

QString timedOutText()
{
    return tr("Request timed out");
}

QString successText()
{
    return tr("Success");
}

QString runFaultText(const RunReport& report, const QString& host)
{
    switch (report.fault) {
    case Fault::NoSocketPermission:
        return faultText(report.fault, report.errorNumber,
                         QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath());
    case Fault::SocketSetupFailed:
        return faultText(report.fault, report.errorNumber, QString::fromLatin1(report.option));
    default:
        return faultText(report.fault, report.errorNumber, host);
    }
}

} // namespace icmp
