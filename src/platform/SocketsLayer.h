#pragma once
#include <QByteArray>
#include <QHostAddress>
#include <QEvent>
#include <QObject>
#include <QtGlobal>

#include <functional>
#include <sys/socket.h>

// What the program's lookups stand on: the sockets layer's start-up count and error numbers,
// the packed host entry a lookup leaves in its caller's buffer, and the window message that
// tells the caller a lookup has ended.

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

// The socket address of an IPv4 or IPv6 address, with its length; a link-local IPv6 address
// keeps its interface ("fe80::1%eth0" or "fe80::1%2").
sockaddr_storage socketAddress(const QHostAddress& address, socklen_t& length);
// The other way: an AF_INET or AF_INET6 socket address of `length` bytes as an address, a
// scope id kept as its interface's name (its number when the interface is gone); null for
// anything else.
QHostAddress hostAddress(const sockaddr* address, socklen_t length);
} // namespace sockets_layer

// glibc's inet_addr: the address in network byte order (as its 4 bytes stand in memory)
// when the text is a dotted address, INADDR_NONE (0xFFFFFFFF) otherwise, which
// "255.255.255.255" also gives.
quint32 inet_addr(const QByteArray& text);
// The 16 bytes of an IPv6 address written as text ("2001:db8::1"); empty for anything else.
QByteArray inet6Address(const QByteArray& text);

// The packed host entry a background lookup leaves in the caller's buffer: a 16-byte
// header of little-endian fields whose pointers are 32-bit offsets from the start of the
// buffer (0 is the null pointer), then the data area the pointers point into.
namespace hostent_layout {
inline constexpr int kBufferSize = 1040;
inline constexpr int kHeaderSize = 16;
inline constexpr int kDataAreaSize = kBufferSize - kHeaderSize;

inline constexpr int kNameField = 0;        // 32-bit pointer to the official name
inline constexpr int kAliasesField = 4;     // 32-bit pointer to the null-ended alias pointer list
inline constexpr int kAddrTypeField = 8;    // 16-bit address family
inline constexpr int kLengthField = 10;     // 16-bit signed bytes per address
inline constexpr int kAddrListField = 12;   // 32-bit pointer to the null-ended address pointer list

// A name is read through a span of this many bytes: it ends at the first NUL in it.
inline constexpr int kNameSpan = 256;
// Longest address the decoder takes (an IPv6 address); lookups here deliver 4 bytes.
inline constexpr int kMaxAddressLength = 16;
} // namespace hostent_layout

// Error numbers a lookup completes with, as the sockets layer numbers them.
inline constexpr quint16 WSAENOBUFS = 10055;          // the entry does not fit the buffer
inline constexpr quint16 WSAHOST_NOT_FOUND = 11001;
inline constexpr quint16 WSATRY_AGAIN = 11002;
inline constexpr quint16 WSANO_RECOVERY = 11003;
inline constexpr quint16 WSANO_DATA = 11004;

// A message sent to a window object, as the platform's background lookups notify their
// caller: message number and its two parameters.
class WindowMessage final : public QEvent {
public:
    WindowMessage(quint32 msg, quintptr wParam, qintptr lParam);
    static QEvent::Type eventType();

    quint32 msg;
    quintptr wParam;
    qintptr lParam;
};

// The number of the left-button-up message, which lookups are asked to complete with.
inline constexpr quint32 WM_LBUTTONUP = 0x0202;

// The second parameter of a lookup's completion: error number high, length low.
inline qintptr makeAsyncLParam(quint16 length, quint16 error)
{
    return qintptr(quint32(error) << 16 | length);
}

// Ends a background lookup on the UI thread: copies the request's entry into the
// caller's buffer, then sends the message to the window. Does nothing when the window
// is gone (the buffer belongs to it and may be gone too).
void completeLookup(QObject* hWnd, quint32 wMsg, qint32 handle, char* buf, int buflen, const QByteArray& entry,
                    quint16 error, quint16 length);

// Calls `handler` for every window message sent to `window`, for the window's lifetime.
void onWindowMessage(QObject* window, std::function<void(const WindowMessage&)> handler);
