#include "MultiLineTextBox.h"

#include "DisplayText.h"
#include "platform/Memory.h"
#include "whois/Whois.h"

#include <QAccessible>
#include <QMimeData>
#include <QPlainTextDocumentLayout>
#include <QScrollBar>
#include <QStringDecoder>
#include <QTextBlock>
#include <QTimer>


namespace {

// Laid out per turn of the event loop: a few milliseconds of work, so the window answers.
constexpr qsizetype kSlice = 128 * 1024;
// Marks a block that goes on with the line of the block before it.
constexpr int kContinuation = 1;
// A line is cut for layout after this many rows of the box.
constexpr int kRowsPerCut = 64;

} // namespace

struct MultiLineTextBox::Build {
    explicit Build(int lineCut) : shaper(lineCut) {}

    std::unique_ptr<QTextDocument> document = std::make_unique<QTextDocument>();
    QTextCursor cursor{document.get()};
    DisplayShaper shaper;
    qsizetype at = 0;   // where the next slice starts: a character of m_text, a byte of m_encoded
    bool done = false;   // the whole text is in, suffix included
};

MultiLineTextBox::MultiLineTextBox(QWidget* parent)
    : QPlainTextEdit(parent)
{
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setLineWrapMode(QPlainTextEdit::WidgetWidth);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    connect(this, &QPlainTextEdit::textChanged, this, [this] { m_edited |= !m_settingText; });
}

MultiLineTextBox::~MultiLineTextBox() = default;

QString MultiLineTextBox::text() const
{
    if (m_edited)
        return documentText(0, document()->characterCount() - 1, u"\r\n");
    if (m_encoded.isNull())
        return m_text;
    QStringDecoder decoder(m_encoding, QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    return decoder.decode(m_encoded) + m_suffix;
}

void MultiLineTextBox::setText(const QString& text)
{
    m_text = text;
    m_encoded = QByteArray();
    m_suffix.clear();
    startDisplay();
}

void MultiLineTextBox::setText(const QByteArray& encoded, QStringConverter::Encoding encoding, const QString& suffix)
{
    m_text.clear();
    m_encoded = encoded.isNull() ? QByteArray("") : encoded;
    m_encoding = encoding;
    m_suffix = suffix;
    startDisplay();
}

void MultiLineTextBox::startDisplay()
{
    m_edited = false;
    const int textWidth = width() - verticalScrollBar()->sizeHint().width() - 2 * frameWidth();
    const int rowChars = std::max(1, textWidth / std::max(1, fontMetrics().horizontalAdvance(u'M')));
    m_build = std::make_unique<Build>(rowChars * kRowsPerCut);
    m_build->document->setUndoRedoEnabled(false);
    // A text that fits in one slice is shown at once; a larger one from the event loop.
    displaySlice();
}

void MultiLineTextBox::displaySlice()
{
    Build& b = *m_build;
    QString piece;
    if (!m_encoded.isNull()) {
        qsizetype end = std::min(m_encoded.size(), b.at + kSlice);
        // Slices end between UTF-8 sequences, so each decodes on its own.
        if (m_encoding == QStringConverter::Utf8 && whois::utf8Boundary(m_encoded, end) > b.at)
            end = whois::utf8Boundary(m_encoded, end);
        QStringDecoder decoder(m_encoding, QStringDecoder::Flag::Stateless
                                               | (b.at == 0 ? QStringDecoder::Flag::ConvertInitialBom
                                                            : QStringDecoder::Flag::Stateless));
        piece = decoder.decode(QByteArrayView(m_encoded).sliced(b.at, end - b.at));
        b.at = end;
        b.done = end == m_encoded.size();
    } else {
        piece = m_text.mid(b.at, kSlice);
        b.at += piece.size();
        b.done = b.at == m_text.size();
    }
    if (b.done)
        piece += m_suffix;
    QString shaped;
    std::vector<int> continuations;
    b.shaper.shape(piece, shaped, continuations);
    b.cursor.insertText(shaped);
    for (const int block : continuations)
        b.document->findBlockByNumber(block).setUserState(kContinuation);
    if (!b.done) {
        QTimer::singleShot(0, this, [this, build = m_build.get()] {
            if (m_build.get() == build)   // not replaced by a newer text meanwhile
                displaySlice();
        });
        return;
    }
    QTextDocument* document = b.document.release();
    m_build.reset();
    swapIn(document);
    emit shown();
}

void MultiLineTextBox::swapIn(QTextDocument* document)
{
    QTextDocument* old = this->document();
    // Screen readers get the text that goes and the one that comes, not blanks in their place.
    const bool reader = QAccessible::isActive();
    const QString before = reader ? old->toPlainText() : QString();
    const bool big = old->characterCount() > (1 << 20);
    const bool ours = old->parent() == this;   // the first one belongs to the editor, which deletes it itself
    document->setParent(this);
    document->setDefaultFont(old->defaultFont());
    document->setDefaultTextOption(old->defaultTextOption());
    document->setDocumentLayout(new QPlainTextDocumentLayout(document));
    document->setUndoRedoEnabled(true);
    m_settingText = true;
    setDocument(document);
    m_settingText = false;
    if (ours)
        delete old;
    if (big)
        releaseFreedMemory();
    if (reader) {
        if (!before.isEmpty()) {
            QAccessibleTextRemoveEvent removed(this, 0, before);
            QAccessible::updateAccessibility(&removed);
        }
        if (const QString after = document->toPlainText(); !after.isEmpty()) {
            QAccessibleTextInsertEvent inserted(this, 0, after);
            QAccessible::updateAccessibility(&inserted);
        }
    }
}

QString MultiLineTextBox::documentText(int from, int to, QStringView lineEnd) const
{
    QString out;
    for (QTextBlock b = document()->findBlock(from); b.isValid() && b.position() <= to; b = b.next()) {
        if (b.position() > from && b.userState() != kContinuation)
            out += lineEnd;
        const int start = std::max(from, b.position()) - b.position();
        const int end = std::min(to, b.position() + b.length() - 1) - b.position();
        QString piece = b.text().mid(start, end - start);
        out += piece.replace(QChar(QChar::LineSeparator), lineEnd.toString());
    }
    return out;
}

QString MultiLineTextBox::shownText(bool selectionOnly) const
{
    const QTextCursor selection = textCursor();
    return selectionOnly ? documentText(selection.selectionStart(), selection.selectionEnd(), u"\n")
                         : documentText(0, document()->characterCount() - 1, u"\n");
}

QMimeData* MultiLineTextBox::createMimeDataFromSelection() const
{
    auto* data = new QMimeData;
    data->setText(shownText(true));
    return data;
}
