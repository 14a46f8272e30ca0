#pragma once
#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringConverter>
#include <QStringView>

#include <optional>

// The whois query's byte work: the query line and the port typed, the answer's line ends, its
// text and its cut.
namespace whois {

// Far above any real answer (a few kB to a few hundred kB); an endless or runaway
// stream is cut here so memory stays bounded.
inline constexpr qsizetype kAnswerCap = qsizetype(32) * 1024 * 1024;
// A referred server's answer is a record of a few kB: one runaway at that hop is cut sooner, so
// the chain's text is put together without holding up the window.
inline constexpr qsizetype kReferredAnswerCap = qsizetype(4) * 1024 * 1024;

// Every LF gets a CR of its own before it: LF becomes CR LF, CR LF becomes CR CR LF.
// In place, in one pass over the text.
void WI_AddCR(QByteArray& text);

// Where `bytes` may be cut at or just before `at` without splitting a UTF-8 sequence: `at`, or the
// start of a sequence that the bytes before `at` begin but do not finish. Only bytes before `at`
// are read, so it also tells where the complete part of a stream ends.
qsizetype utf8Boundary(QByteArrayView bytes, qsizetype at);

// How the answer's bytes read as text: UTF-8 where all of them are valid UTF-8 (a byte-order
// mark is kept as a character), otherwise one character per byte (Latin-1), so no byte is lost.
// Told without decoding them: the box decodes them once, as it shows them.
QStringConverter::Encoding answerEncoding(QByteArrayView bytes);
// The answer as shown, whole; then, when it was cut at the cap, the note that says so.
QString answerText(QByteArrayView bytes, bool cut = false);

// How many of `bytes` to keep under `cap`: at most `cap`, and a UTF-8 sequence that
// the cap would split is left out whole, so a cut UTF-8 answer stays UTF-8.
qsizetype answerCut(QByteArrayView bytes, qsizetype cap = kAnswerCap);

// What follows an answer that was cut at `cap`.
QString answerCutNote(qsizetype cap = kAnswerCap);


// The one line sent to the server (RFC 3912): the query in UTF-8, then CR LF. A query
// pasted with a line end in it is cut at its first CR or LF: the line the box shows first
// is the one meant, usually with a line end taken along by the copy, and more lines would
// reach the server as more queries.
QByteArray queryLine(const QString& query);

// The port typed on the page: a whole number from 0 to 65535, blanks around it
// allowed. Anything else (empty, signs, letters, too big) gives nothing.
std::optional<qint32> portNumber(QStringView text);

} // namespace whois
