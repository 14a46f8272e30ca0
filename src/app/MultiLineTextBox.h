#pragma once
#include <QPlainTextEdit>

// A multi-line text box whose text is kept exactly as set, line ends included
// (lines are separated by CR LF); the view shows each line end as one line break.
class MultiLineTextBox final : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit MultiLineTextBox(QWidget* parent);

    QString text() const { return m_text; }
    void setText(const QString& text);
    void appendText(const QString& more) { setText(m_text + more); }

private:
    void takeUserEdit();

    QString m_text;
    bool m_settingText = false;
};
