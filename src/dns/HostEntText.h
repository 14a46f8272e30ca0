#pragma once
#include <QString>
#include <QStringList>

struct DecodedHostEntry;

// "RetCode:", the handle as the sockets layer's callers print numbers (a blank in place
// of the sign when not negative), and the line end.
QString retCodeLine(qint32 handle);

// What a successful lookup appends to the result box, piece by piece: the "IP:" line,
// then CR LF and "Host Name: ", then CR LF and "Host Alias: " for each alias.
QStringList hostEntryPieces(const DecodedHostEntry& entry);

// What an unsuccessful lookup leaves in the result box.
QString asyncErrorText();
