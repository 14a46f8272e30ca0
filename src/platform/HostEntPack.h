#pragma once
#include <QByteArray>
#include <QList>

#include <span>

struct hostent;

// A host entry as the system resolver returns it.
struct HostEntry {
    QByteArray name;
    QList<QByteArray> aliases;
    qint16 addrType = 2;   // AF_INET
    qint16 length = 4;     // bytes in each address
    QList<QByteArray> addresses;

    friend bool operator==(const HostEntry&, const HostEntry&) = default;
};

struct PackResult {
    quint16 error = 0;     // 0, or WSAENOBUFS when the entry does not fit
    quint32 length = 0;    // bytes used; with WSAENOBUFS, bytes the entry would need
};

// Packs the entry into `out` in the host-entry layout. Writes nothing when it does not fit.
PackResult packHostEntry(const HostEntry& entry, std::span<char> out);

// Copies what glibc returned out of its scratch buffer.
HostEntry hostEntryFrom(const hostent& h);

// The lookup error for glibc's h_errno.
quint16 lookupErrorFromHErrno(int hErrno);
