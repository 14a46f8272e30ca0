#pragma once
#include <QtGlobal>

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
