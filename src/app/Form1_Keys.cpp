// The keyboard: Enter presses the right button, F1 reaches the help whichever control has the
// focus; and what the window does on the events of its controls that are no handlers' own.
#include "Form1.h"

#include "MultiLineTextBox.h"
#include "ResultsTable.h"

#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QPushButton>

bool Form1::pressEnter()
{
    if (auto* focused = qobject_cast<QPushButton*>(QApplication::focusWidget()); focused && isAncestorOf(focused)) {
        if (focused->isEnabled())
            focused->click();
        return true;
    }
    if (m_defaultButton && m_defaultButton->isEnabled())
        m_defaultButton->click();
    return true;
}

bool Form1::eventFilter(QObject* watched, QEvent* event)
{
    const QEvent::Type type = event->type();
    // The text box lies over the table: while it shows, the table is hidden too, so that a
    // screen reader or the Tab key never meets a second, stale "Results" behind it.
    if (watched == HostResponse && (type == QEvent::ShowToParent || type == QEvent::HideToParent)) {
        ListView1->setVisible(type == QEvent::HideToParent);
        return false;
    }
    if (type != QEvent::KeyPress && type != QEvent::KeyRelease)
        return false;
    auto* widget = qobject_cast<QWidget*>(watched);
    if (!widget || (widget != this && !isAncestorOf(widget)))
        return false;

    auto* key = static_cast<QKeyEvent*>(event);
    if (type == QEvent::KeyPress && (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter))
        return pressEnter();
    if (type == QEvent::KeyRelease && KeyPreview && !key->isAutoRepeat()) {
        qint16 keyCode = 0;
        if (key->key() >= Qt::Key_F1 && key->key() <= Qt::Key_F24)
            keyCode = qint16(kKeyF1 + (key->key() - Qt::Key_F1));
        else if (key->key() < 0x80)
            keyCode = qint16(key->key());
        const Qt::KeyboardModifiers mods = key->modifiers();
        qint16 shift = qint16((mods & Qt::ShiftModifier ? 1 : 0) | (mods & Qt::ControlModifier ? 2 : 0)
                              | (mods & Qt::AltModifier ? 4 : 0));
        Form_KeyUp(keyCode, shift);
        // F1 is handled once, here; other releases go on to their widgets (Space clicks a button on release).
        return keyCode == kKeyF1;
    }
    return false;
}

void Form1::closeEvent(QCloseEvent* event)
{
    qint16 cancel = 0;
    Form_Unload(cancel);
    closeMonitors();
    event->accept();
}
