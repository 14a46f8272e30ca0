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
    if (m_autoSize)
        resize(fittedSize(caption));
}
