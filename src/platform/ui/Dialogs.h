#pragma once
#include <QString>
#include <QStringList>

class QWidget;

// What the window asks of the desktop's user interface: modal boxes and the mouse pointer.
// Tests answer them through fakes.

// Modal message box with a single OK button.
class MessageBox {
public:
    // Flag words for the icon.
    static constexpr int kNoIcon = 0;
    static constexpr int kExclamation = 48;

    virtual ~MessageBox() = default;
    // Blocks the caller until the user has closed the box.
    virtual void show(QWidget* owner, const QString& prompt, int flags, const QString& title) = 0;
};

// The screen-wide mouse pointer: hourglass or default. A state, not a stack:
// setting the hourglass twice and the default once leaves the default pointer.
class BusyPointer {
public:
    virtual ~BusyPointer() = default;
    virtual void setBusy(bool busy) = 0;
    virtual bool isBusy() const = 0;
};

// The desktop's file dialog for saving.
class FileDialog {
public:
    virtual ~FileDialog() = default;
    // Blocks until the user has chosen a file to save to (its path) or cancelled (empty).
    virtual QString saveFileName(QWidget* owner, const QString& title, const QString& suggestedName) = 0;
    // The same, offering a choice of `filters` ("CSV (*.csv)"); `chosen` is the one to offer first
    // and, on return, the one the user picked.
    virtual QString saveFileNameAs(QWidget* owner, const QString& title, const QString& suggestedName,
                                   const QStringList& filters, int& chosen)
    {
        (void)filters;
        (void)chosen;
        return saveFileName(owner, title, suggestedName);
    }
};
