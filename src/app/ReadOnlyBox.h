#pragma once
#include <QLineEdit>

// A read-only text box with the button-face background. Screen readers are told it is
// read-only and nothing else: a plain line edit would also call itself editable.
// Its text, a name from outside, shows as oneLineText() gives it, from its start; a text
// wider than the box has its tooltip.
class ReadOnlyBox final : public QLineEdit {
    Q_OBJECT
public:
    explicit ReadOnlyBox(QWidget* parent);

    bool isCut() const;

protected:
    bool event(QEvent* event) override;
};
