#pragma once
#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QStringList>

// A lookup's packed host entry as the result box shows it: read touching only bytes inside it,
// and the lines it gives.
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

// "RetCode:", the handle as the sockets layer's callers print numbers (a blank in place
// of the sign when not negative), and the line end.
QString retCodeLine(qint32 handle);

// What a successful lookup appends to the result box, piece by piece: the "IP:" line,
// then CR LF and "Host Name: ", then CR LF and "Host Alias: " for each alias.
QStringList hostEntryPieces(const DecodedHostEntry& entry);

// What an unsuccessful lookup leaves in the result box.
QString asyncErrorText();
