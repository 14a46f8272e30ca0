#include "Label.h"

Label::Label(bool autoSize, QWidget* parent)
    : QLabel(parent)
    , m_autoSize(autoSize)
{
    setAlignment(Qt::AlignLeft | Qt::AlignTop);
    setTextFormat(Qt::PlainText);
}

QSize Label::fittedSize(const QString& caption) const
{
    const QFontMetrics metrics(font());
    return {metrics.horizontalAdvance(caption), metrics.height()};
}

void Label::setCaption(const QString& caption)
{
    setText(caption);
    if (m_autoSize) {
        resize(fittedSize(caption));
        return;
    }
    // A caption wider than its fixed label is set a little tighter rather than cut off.
    if (!m_naturalFont)
        m_naturalFont = font();
    QFont tighter = *m_naturalFont;
    for (double percent = 99; QFontMetrics(tighter).horizontalAdvance(caption) > contentsRect().width()
                              && percent >= kTightestSpacing;
         percent -= 1)
        tighter.setLetterSpacing(QFont::PercentageSpacing, percent);
    setFont(tighter);
}
