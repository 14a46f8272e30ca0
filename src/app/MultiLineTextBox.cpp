#include "MultiLineTextBox.h"

namespace {

// The document pays per block: a 5 MB answer of 120,000 lines loads in half a second as
// one block per line, in a tenth of that as blocks of 32 lines joined by line separators.
// toPlainText() gives '\n' for both kinds of break.
constexpr int kLinesPerBlock = 32;

// CR LF, a bare LF and a bare CR all end a line on screen; runs like CR CR LF end one.
QString displayForm(const QString& text)
{
    QString shown(text.size(), Qt::Uninitialized);   // never longer than the text
    QChar* out = shown.data();
    const QChar* in = text.constData();
    const QChar* const end = in + text.size();
    int lines = 0;
    while (in != end) {
        const QChar c = *in++;
        if (c == u'\r') {
            while (in != end && *in == u'\r')
                ++in;
            if (in != end && *in == u'\n')
                ++in;
        } else if (c != u'\n') {
            *out++ = c;
            continue;
        }
        *out++ = ++lines % kLinesPerBlock ? QChar(QChar::LineSeparator) : QChar(u'\n');
    }
    shown.truncate(out - shown.constData());
    return shown;
}

} // namespace

MultiLineTextBox::MultiLineTextBox(QWidget* parent)
    : QPlainTextEdit(parent)
{
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setLineWrapMode(QPlainTextEdit::WidgetWidth);
    connect(this, &QPlainTextEdit::textChanged, this, &MultiLineTextBox::takeUserEdit);
}

void MultiLineTextBox::setText(const QString& text)
{
    m_text = text;
    m_settingText = true;
    setPlainText(displayForm(text));
    m_settingText = false;
}

void MultiLineTextBox::takeUserEdit()
{
    if (m_settingText)
        return;
    m_text = toPlainText();
    m_text.replace(u'\n', QStringLiteral("\r\n"));
}
