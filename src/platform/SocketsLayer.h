#pragma once
#include <QByteArray>
#include <QtGlobal>

// Start-up information of the sockets layer, as its callers keep it.
struct WSADATA {
    quint16 wVersion = 0;
    quint16 wHighVersion = 0;
    char szDescription[257] = {};
    char szSystemStatus[129] = {};
    quint16 iMaxSockets = 0;
    quint16 iMaxUdpDg = 0;
};

// The sockets layer needs no start-up on Linux; what stands in for it is a process-wide
// count of start-ups not yet released, so that the lookups' balance can be seen.
namespace sockets_layer {
inline constexpr quint16 kVersion11 = 0x0101;
inline constexpr int WSAVERNOTSUPPORTED = 10092;
inline constexpr int WSANOTINITIALISED = 10093;

// 0 when started, else an error number. Each start wants one cleanup.
int startup(quint16 versionRequested, WSADATA& data);
// 0, or WSANOTINITIALISED when no start-up is left to release.
int cleanup();
// Start-ups of this process not yet released.
int startups();
} // namespace sockets_layer

// glibc's inet_addr: the address in network byte order (as its 4 bytes stand in memory)
// when the text is a dotted address, INADDR_NONE (0xFFFFFFFF) otherwise, which
// "255.255.255.255" also gives.
quint32 inet_addr(const QByteArray& text);
// The 16 bytes of an IPv6 address written as text ("2001:db8::1"); empty for anything else.
QByteArray inet6Address(const QByteArray& text);
