#pragma once
#include <QPlainTextEdit>
#include <QStringConverter>

#include <memory>

// A multi-line text box whose text is kept exactly as set, line ends included (lines are
// separated by CR LF), while the view shows it in its display form (DisplayText.h). A large
// text is laid out a slice at a time behind the scenes (while its bytes arrive, when told them)
// and swapped in whole, so the window answers throughout; copying gives the text as shown,
// without the cuts made for layout.
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
    // Bytes that the next setText(encoded, UTF-8, …) will start with, as they arrive: laid out
    // behind the scenes now, so showing the whole text later costs only what is left. Bytes that
    // are no UTF-8, or a text that does not start with them, are laid out again from the start.
    void layOutAhead(QByteArrayView bytes);
    // How many bytes of the text last set were laid out ahead of it.
    qsizetype bytesLaidOutAhead() const { return m_reused; }
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
    struct Ahead;

    std::unique_ptr<Build> newBuild() const;
    void startDisplay(std::unique_ptr<Build> resumed = nullptr);
    void displaySlice();
    void aheadSlice();
    // Decodes `bytes` (the text's bytes from `b.at`) and appends them, shaped, to the build.
    static void appendBytes(Build& b, QByteArrayView bytes, QStringConverter::Encoding encoding);
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
    std::unique_ptr<Ahead> m_ahead;
    qsizetype m_reused = 0;
};
