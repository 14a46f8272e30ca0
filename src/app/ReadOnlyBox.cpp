#include "ReadOnlyBox.h"

#include "DisplayText.h"

#include <QAccessibleWidget>
#include <QHelpEvent>
#include <QStyleOptionFrame>

namespace {

// The box as a screen reader meets it: read-only text, its caret and selection.
class ReadOnlyBoxAccessible final : public QAccessibleWidget, public QAccessibleTextInterface {
public:
    explicit ReadOnlyBoxAccessible(ReadOnlyBox* box) : QAccessibleWidget(box, QAccessible::EditableText) {}

    QAccessible::State state() const override
    {
        QAccessible::State s = QAccessibleWidget::state();
        s.readOnly = true;
        s.editable = false;
        s.selectableText = true;
        return s;
    }
    QString text(QAccessible::Text t) const override
    {
        return t == QAccessible::Value ? box()->text() : QAccessibleWidget::text(t);
    }
    void* interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::TextInterface ? static_cast<QAccessibleTextInterface*>(this)
                                                  : QAccessibleWidget::interface_cast(type);
    }

    void selection(int index, int* start, int* end) const override
    {
        *start = *end = 0;
        if (index == 0 && box()->hasSelectedText()) {
            *start = box()->selectionStart();
            *end = *start + int(box()->selectedText().size());
        }
    }
    int selectionCount() const override { return box()->hasSelectedText() ? 1 : 0; }
    void addSelection(int start, int end) override { setSelection(0, start, end); }
    void removeSelection(int) override { box()->deselect(); }
    void setSelection(int, int start, int end) override { box()->setSelection(start, end - start); }
    int cursorPosition() const override { return box()->cursorPosition(); }
    void setCursorPosition(int position) override { box()->setCursorPosition(position); }
    QString text(int start, int end) const override { return box()->text().mid(start, end - start); }
    int characterCount() const override { return int(box()->text().size()); }
    QRect characterRect(int) const override { return {}; }
    int offsetAtPoint(const QPoint&) const override { return -1; }
    void scrollToSubstring(int, int) override {}
    QString attributes(int, int* start, int* end) const override
    {
        *start = 0;
        *end = characterCount();
        return {};
    }

private:
    QLineEdit* box() const { return static_cast<QLineEdit*>(widget()); }
};

QAccessibleInterface* readOnlyBoxFactory(const QString& className, QObject* object)
{
    if (className == QLatin1String("ReadOnlyBox") && object && object->isWidgetType())
        return new ReadOnlyBoxAccessible(static_cast<ReadOnlyBox*>(object));
    return nullptr;
}

} // namespace

ReadOnlyBox::ReadOnlyBox(QWidget* parent)
    : QLineEdit(parent)
{
    static const bool registered = (QAccessible::installFactory(readOnlyBoxFactory), true);
    Q_UNUSED(registered);
    setReadOnly(true);
    QPalette p = palette();
    p.setColor(QPalette::Base, p.color(QPalette::Button));
    setPalette(p);
    connect(this, &QLineEdit::textChanged, this, [this](const QString& text) {
        const QString shown = oneLineText(text);
        if (shown != text)
            setText(shown);   // changes it once: a shown text is its own oneLineText()
        setCursorPosition(0);
    });
}

bool ReadOnlyBox::isCut() const
{
    // The line edit's text area: the style's contents rectangle less its text margins and the
    // two pixels it keeps on each side.
    QStyleOptionFrame frame;
    initStyleOption(&frame);
    const QRect area = style()->subElementRect(QStyle::SE_LineEditContents, &frame, this).marginsRemoved(textMargins());
    return fontMetrics().horizontalAdvance(text()) > area.width() - 2 * 2;
}

bool ReadOnlyBox::event(QEvent* event)
{
    if (event->type() != QEvent::ToolTip)
        return QLineEdit::event(event);
    answerToolTip(static_cast<QHelpEvent*>(event), this, text(), isCut(), {});
    return true;
}
