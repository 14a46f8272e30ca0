#pragma once
#include <QByteArray>
#include <QString>
#include <QStringView>

#include <optional>

namespace whois {

// The one line sent to the server (RFC 3912): the query in UTF-8, then CR LF. A query
// pasted with a line end in it is cut at its first CR or LF: the line the box shows first
// is the one meant, usually with a line end taken along by the copy, and more lines would
// reach the server as more queries.
QByteArray queryLine(const QString& query);

// The port typed on the page: a whole number from 0 to 65535, blanks around it
// allowed. Anything else (empty, signs, letters, too big) gives nothing.
std::optional<qint32> portNumber(QStringView text);

} // namespace whois
