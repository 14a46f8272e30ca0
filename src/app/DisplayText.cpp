#include "DisplayText.h"

#include <QHelpEvent>
#include <QToolTip>

namespace {

constexpr QChar kReplacement(0xFFFD);

bool isBidiControl(char16_t c)
{
    return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

// Zero-width characters and invisible operators: two names that differ only by one look alike.
bool isInvisibleFormat(char16_t c)
{
    return (c >= 0x200B && c <= 0x200D) || (c >= 0x2060 && c <= 0x2064) || c == 0xFEFF;
}

} // namespace

DisplayShaper::DisplayShaper(int lineCut)
    : m_lineCut(std::max(lineCut, 64))
{
}

QChar DisplayShaper::shown(QChar c)
{
    const char16_t u = c.unicode();
    if (u < 0x20 && u != u'\t')
        return QChar(char16_t(0x2400 + u));   // the control pictures: NUL as ␀, ESC as ␛
    if (u == 0x7f)
        return QChar(char16_t(0x2421));       // ␡
    if ((u >= 0x80 && u <= 0x9f) || isBidiControl(u))
        return kReplacement;
    return c;
}

void DisplayShaper::lineBreak(QString& out)
{
    m_lineChars = 0;
    if (m_blockChars >= kBlockChars) {
        out += u'\n';
        ++m_block;
        m_blockChars = 0;
        return;
    }
    out += QChar(QChar::LineSeparator);
    ++m_blockChars;
}

void DisplayShaper::shape(QStringView piece, QString& out, std::vector<int>& continuations)
{
    out.reserve(out.size() + piece.size());
    for (const QChar c : piece) {
        const char16_t u = c.unicode();
        if (u == u'\r') {
            if (!std::exchange(m_inCrRun, true))
                lineBreak(out);
            continue;
        }
        if (u == u'\n') {
            if (!std::exchange(m_inCrRun, false))
                lineBreak(out);
            continue;
        }
        m_inCrRun = false;
        if (u == QChar::LineSeparator || u == QChar::ParagraphSeparator) {
            lineBreak(out);
            continue;
        }
        if (m_lineChars == m_lineCut) {
            out += u'\n';
            continuations.push_back(++m_block);
            m_blockChars = 0;
            m_lineChars = 0;
        }
        out += shown(c);
        ++m_lineChars;
        ++m_blockChars;
    }
}

QString oneLineText(QStringView text)
{
    QString out;
    out.reserve(text.size());
    for (const QChar c : text) {
        if (c == u'\t')
            out += QChar(char16_t(0x2409));   // ␉
        else if (c == QChar::LineSeparator || c == QChar::ParagraphSeparator || isInvisibleFormat(c.unicode()))
            out += kReplacement;
        else
            out += DisplayShaper::shown(c);
    }
    return out;
}

QString wholeTextTip(QStringView text)
{
    // A tooltip takes any text that looks like markup for markup: escaped, it reads as typed.
    return QStringLiteral("<p style=\"white-space:pre-wrap\">") + oneLineText(text).toHtmlEscaped()
        + QStringLiteral("</p>");
}

void answerToolTip(const QHelpEvent* event, QWidget* widget, const QString& text, bool cut, const QRect& area)
{
    if (cut)
        QToolTip::showText(event->globalPos(), wholeTextTip(text), widget, area);
    else
        QToolTip::hideText();
}
