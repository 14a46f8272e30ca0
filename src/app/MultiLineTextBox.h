#pragma once
#include <QPlainTextEdit>
#include <QStringConverter>

#include <memory>

// A multi-line text box whose text is kept exactly as set, line ends included (lines are
// separated by CR LF), while the view shows it in its display form (DisplayText.h). A large
// text is laid out a slice at a time behind the scenes and swapped in whole, so the window
// answers throughout; copying gives the text as shown, without the cuts made for layout.
class MultiLineTextBox final : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit MultiLineTextBox(QWidget* parent);
    ~MultiLineTextBox() override;

    // The text as set, or as the user has edited it.
    QString text() const;
    void setText(const QString& text);
    // A text kept as the bytes it came in (UTF-8 or Latin-1) followed by `suffix`: a large
    // answer is never copied into a text of its own, only shown.
    void setText(const QByteArray& encoded, QStringConverter::Encoding encoding, const QString& suffix = {});
    void appendText(const QString& more) { setText(text() + more); }
    // False while a text is still being laid out for display.
    bool isShown() const { return !m_build; }
    // The text as shown, or its selected part, lines ending in "\n": what a copy gives.
    QString shownText(bool selectionOnly) const;

signals:
    // The display has caught up with the text.
    void shown();

protected:
    QMimeData* createMimeDataFromSelection() const override;

private:
    struct Build;

    void startDisplay();
    void displaySlice();
    void swapIn(QTextDocument* document);
    // The document's text from `from` to `to`, lines ending in `lineEnd`.
    QString documentText(int from, int to, QStringView lineEnd) const;

    QString m_text;
    QByteArray m_encoded;               // when set: the text is these bytes and m_suffix
    QStringConverter::Encoding m_encoding = QStringConverter::Utf8;
    QString m_suffix;
    bool m_edited = false;              // the user typed in the box: its document is the text
    bool m_settingText = false;
    std::unique_ptr<Build> m_build;
};
