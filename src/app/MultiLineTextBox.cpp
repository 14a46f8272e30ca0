#include "MultiLineTextBox.h"

namespace {

// CR LF, a bare LF and a bare CR all end a line on screen; runs like CR CR LF end one.
QString displayForm(const QString& text)
{
    QString shown;
    shown.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c == u'\r') {
            qsizetype j = i;
            while (j + 1 < text.size() && text[j + 1] == u'\r')
                ++j;
            if (j + 1 < text.size() && text[j + 1] == u'\n')
                ++j;
            shown += u'\n';
            i = j;
        } else {
            shown += c;
        }
    }
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
