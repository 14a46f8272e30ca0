#pragma once
#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringConverter>

namespace whois {

// Far above any real answer (a few kB to a few hundred kB); an endless or runaway
// stream is cut here so memory stays bounded.
inline constexpr qsizetype kAnswerCap = qsizetype(32) * 1024 * 1024;

// Every LF gets a CR of its own before it: LF becomes CR LF, CR LF becomes CR CR LF.
// In place, in one pass over the text.
void WI_AddCR(QByteArray& text);

// How the answer's bytes read as text: UTF-8 where all of them are valid UTF-8 (a
// byte-order mark is kept as a character), otherwise one character per byte (Latin-1),
// so no byte is lost.
QStringConverter::Encoding answerEncoding(QByteArrayView bytes);
QString answerText(QByteArrayView bytes);

// How many of `bytes` to keep under `cap`: at most `cap`, and a UTF-8 sequence that
// the cap would split is left out whole, so a cut UTF-8 answer stays UTF-8.
qsizetype answerCut(QByteArrayView bytes, qsizetype cap = kAnswerCap);

// What follows an answer that was cut at the cap.
QString answerCutNote();

} // namespace whois
