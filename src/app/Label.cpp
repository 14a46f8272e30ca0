#include "Label.h"

#include "DisplayText.h"

#include <QHelpEvent>
#include <QPainter>
#include <QStyle>

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
    const QString shown = oneLineText(caption);
    setText(shown);
    if (m_autoSize) {
        resize(fittedSize(shown));
        return;
    }
    // A caption wider than its fixed label is set a little tighter rather than cut off.
    if (!m_naturalFont)
        m_naturalFont = font();
    QFont tighter = *m_naturalFont;
    for (double percent = 99; QFontMetrics(tighter).horizontalAdvance(shown) > contentsRect().width()
                              && percent >= kTightestSpacing;
         percent -= 1)
        tighter.setLetterSpacing(QFont::PercentageSpacing, percent);
    setFont(tighter);
}

bool Label::isCut() const
{
    return fontMetrics().horizontalAdvance(text()) > contentsRect().width();
}

bool Label::event(QEvent* event)
{
    if (event->type() != QEvent::ToolTip)
        return QLabel::event(event);
    answerToolTip(static_cast<QHelpEvent*>(event), this, text(), isCut(), {});
    return true;
}

void Label::paintEvent(QPaintEvent* event)
{
    if (!isCut()) {
        QLabel::paintEvent(event);
        return;
    }
    // Cut at the end, so the caption still reads from its start; screen readers get text() whole.
    QPainter painter(this);
    const QRect area = contentsRect();
    style()->drawItemText(&painter, area, int(alignment()), palette(), isEnabled(),
                          fontMetrics().elidedText(text(), Qt::ElideRight, area.width()), foregroundRole());
}
