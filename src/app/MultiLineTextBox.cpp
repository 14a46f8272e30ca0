#include "MultiLineTextBox.h"

#include "DisplayText.h"
#include "platform/Memory.h"
#include "whois/Whois.h"

#include <QAccessible>
#include <QCryptographicHash>
#include <QMimeData>
#include <QPlainTextDocumentLayout>
#include <QScrollBar>
#include <QStringDecoder>
#include <QTextBlock>
#include <QTimer>


namespace {

// Laid out per turn of the event loop: a few milliseconds of work, so the window answers.
constexpr qsizetype kSlice = 128 * 1024;
// How much of a text is laid out ahead of it: answers of any usual size whole; of a runaway one
// the rest waits for the text, so memory stays as without.
constexpr qsizetype kAheadBytes = 8 * 1024 * 1024;
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

// The bytes are not kept once laid out (a large answer would be held twice): a digest of them
// tells whether the text set later starts with them.
struct MultiLineTextBox::Ahead {
    std::unique_ptr<Build> build;   // none once the bytes turned out not to be UTF-8
    QByteArray waiting;             // bytes given, from `from` on not laid out yet
    qsizetype from = 0;
    QCryptographicHash digest{QCryptographicHash::Md5};   // of the bytes laid out
    bool scheduled = false;
    bool full = false;              // taken as much as is laid out ahead: the rest waits for the text
};

namespace {

// Shapes `piece` onto the end of the build's document.
void appendShaped(DisplayShaper& shaper, QTextDocument& document, QTextCursor& cursor, QStringView piece)
{
    QString shaped;
    std::vector<int> continuations;
    shaper.shape(piece, shaped, continuations);
    cursor.insertText(shaped);
    for (const int block : continuations)
        document.findBlockByNumber(block).setUserState(kContinuation);
}

// A decoder for bytes from `at` on: a byte-order mark at the very start is kept as a character.
QStringDecoder decoderFrom(qsizetype at, QStringConverter::Encoding encoding)
{
    return QStringDecoder(encoding, QStringDecoder::Flag::Stateless
                                        | (at == 0 ? QStringDecoder::Flag::ConvertInitialBom : QStringDecoder::Flag::Stateless));
}

// Where the slice of `bytes` from `at` ends: a slice's length on, or sooner, between UTF-8 sequences.
qsizetype sliceEnd(QByteArrayView bytes, qsizetype at, QStringConverter::Encoding encoding)
{
    const qsizetype end = std::min(bytes.size(), at + kSlice);
    if (encoding == QStringConverter::Utf8 && whois::utf8Boundary(bytes, end) > at)
        return whois::utf8Boundary(bytes, end);
    return end;
}

} // namespace

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
    return decoderFrom(0, m_encoding).decode(m_encoded) + m_suffix;
}

void MultiLineTextBox::setText(const QString& text)
{
    m_ahead.reset();
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
    // What was laid out while the bytes arrived is kept when the text starts with those very bytes.
    const std::unique_ptr<Ahead> ahead = std::move(m_ahead);
    const bool resumes = ahead && ahead->build && encoding == QStringConverter::Utf8 && m_encoded.size() >= ahead->build->at
        && QCryptographicHash::hash(QByteArrayView(m_encoded).first(ahead->build->at), QCryptographicHash::Md5)
            == ahead->digest.result();
    startDisplay(resumes ? std::move(ahead->build) : nullptr);
}

void MultiLineTextBox::layOutAhead(QByteArrayView bytes)
{
    if (!m_ahead) {
        m_ahead = std::make_unique<Ahead>();
        m_ahead->build = newBuild();
    }
    if (!m_ahead->build)
        return;
    m_ahead->full = m_ahead->full || m_ahead->build->at + m_ahead->waiting.size() - m_ahead->from + bytes.size() > kAheadBytes;
    if (!m_ahead->full)
        m_ahead->waiting += bytes;
    if (!std::exchange(m_ahead->scheduled, true))
        QTimer::singleShot(0, this, [this, ahead = m_ahead.get()] {
            if (m_ahead.get() == ahead)   // not taken or dropped by a text set meanwhile
                aheadSlice();
        });
}

void MultiLineTextBox::aheadSlice()
{
    Ahead& a = *m_ahead;
    Build& b = *a.build;
    a.scheduled = false;
    // Only whole letters: one cut short waits for its next bytes.
    const QByteArrayView waiting = QByteArrayView(a.waiting).sliced(a.from);
    const qsizetype size = whois::utf8Boundary(waiting, std::min(waiting.size(), kSlice));
    if (size <= 0)
        return;
    QStringDecoder decoder = decoderFrom(b.at, QStringConverter::Utf8);
    const QString piece = decoder.decode(waiting.first(size));
    if (decoder.hasError()) {   // shown as Latin-1 in the end: laid out then
        a.build.reset();
        a.waiting = QByteArray();
        return;
    }
    appendShaped(b.shaper, *b.document, b.cursor, piece);
    a.digest.addData(waiting.first(size));
    b.at += size;
    a.from += size;
    if (a.from > kSlice * 8)   // the bytes laid out are let go now and then, not every slice
        a.waiting.remove(0, std::exchange(a.from, 0));
    // More slices while whole letters wait.
    if (whois::utf8Boundary(QByteArrayView(a.waiting).sliced(a.from), a.waiting.size() - a.from) > 0)
        layOutAhead({});
}

std::unique_ptr<MultiLineTextBox::Build> MultiLineTextBox::newBuild() const
{
    const int textWidth = width() - verticalScrollBar()->sizeHint().width() - 2 * frameWidth();
    const int rowChars = std::max(1, textWidth / std::max(1, fontMetrics().horizontalAdvance(u'M')));
    auto build = std::make_unique<Build>(rowChars * kRowsPerCut);
    build->document->setUndoRedoEnabled(false);
    return build;
}

void MultiLineTextBox::startDisplay(std::unique_ptr<Build> resumed)
{
    m_edited = false;
    m_reused = resumed ? resumed->at : 0;
    m_build = resumed ? std::move(resumed) : newBuild();
    // A text that fits in one slice is shown at once; a larger one from the event loop.
    displaySlice();
}

void MultiLineTextBox::displaySlice()
{
    Build& b = *m_build;
    QString piece;
    if (!m_encoded.isNull()) {
        // Slices end between UTF-8 sequences, so each decodes on its own.
        const qsizetype end = sliceEnd(m_encoded, b.at, m_encoding);
        piece = decoderFrom(b.at, m_encoding).decode(QByteArrayView(m_encoded).sliced(b.at, end - b.at));
        b.at = end;
        b.done = end == m_encoded.size();
    } else {
        piece = m_text.mid(b.at, kSlice);
        b.at += piece.size();
        b.done = b.at == m_text.size();
    }
    if (b.done)
        piece += m_suffix;
    appendShaped(b.shaper, *b.document, b.cursor, piece);
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
