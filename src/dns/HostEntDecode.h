#pragma once
#include <QByteArray>
#include <QByteArrayView>
#include <QList>

// What the result box shows of a packed host entry.
struct DecodedHostEntry {
    QByteArray address;          // the first address; empty when the entry has none
    QByteArray name;             // 8-bit text, without its NUL
    QList<QByteArray> aliases;
};

// Reads a packed host entry of any length, touching only bytes inside it. A pointer
// outside the data area counts as null; a name ends at its NUL, at the end of its
// 256-byte span or at the end of the buffer, whichever comes first.
DecodedHostEntry decodeHostEntry(QByteArrayView buffer);
