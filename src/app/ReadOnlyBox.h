#pragma once
#include <QLineEdit>

// A read-only text box with the button-face background. Screen readers are told it is
// read-only and nothing else: a plain line edit would also call itself editable.
class ReadOnlyBox final : public QLineEdit {
    Q_OBJECT
public:
    explicit ReadOnlyBox(QWidget* parent);
};
