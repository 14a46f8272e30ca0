#pragma once
#include <QString>

class QWidget;

// Modal message box with a single OK button. Tests answer it through a fake.
class MessageBox {
public:
    // Flag words for the icon.
    static constexpr int kNoIcon = 0;
    static constexpr int kExclamation = 48;

    virtual ~MessageBox() = default;
    // Blocks the caller until the user has closed the box.
    virtual void show(QWidget* owner, const QString& prompt, int flags, const QString& title) = 0;
};
