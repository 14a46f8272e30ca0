#pragma once
#include <QRect>
#include <QString>
#include <QStringView>

#include <vector>

// How the result box shows a text it has been given, a piece at a time:
// - CR LF, a bare LF, a bare CR and runs like CR CR LF each end one line on screen (as do
//   U+2028 and U+2029);
// - control characters other than TAB, and the bidirectional controls, become visible
//   placeholders, so nothing is hidden, drawn as a box or reordered;
// - lines are gathered into blocks of a bounded size, and a line longer than `lineCut`
//   characters is cut into continuation blocks. The widget lays a block out whole, so a
//   bounded block keeps one long line from costing time that grows with its square.
// Block breaks come out as '\n', line breaks within a block as U+2028.
class DisplayShaper {
public:
    // A block ends at the first line break once it holds this many characters.
    static constexpr int kBlockChars = 4096;

    explicit DisplayShaper(int lineCut);

    // Shapes the next piece of the text, appending to `out`; the numbers of blocks that continue
    // the line of the block before them go to `continuations`.
    void shape(QStringView piece, QString& out, std::vector<int>& continuations);

    // The character shown for `c`, or `c` itself.
    static QChar shown(QChar c);

private:
    void lineBreak(QString& out);

    int m_lineCut;
    int m_block = 0;          // number of the block being filled, from 0
    int m_blockChars = 0;
    int m_lineChars = 0;
    bool m_inCrRun = false;   // after a CR: more CRs and one LF belong to the same line end
};

// A text from outside as a one-line place (a table cell, a status line, a tooltip) shows it:
// each character replaced as in the result box, and TAB, the line breaks and the zero-width
// characters too (in a name they only hide a difference from another name).
QString oneLineText(QStringView text);

// A tooltip that shows `text` whole, as oneLineText() gives it, and never as markup.
QString wholeTextTip(QStringView text);

class QHelpEvent;
class QWidget;
// Answers a tooltip event of `widget`: the whole `text` when what shows of it is cut, no tooltip
// otherwise. `area`: the part of the widget the tooltip belongs to (empty: all of it).
void answerToolTip(const QHelpEvent* event, QWidget* widget, const QString& text, bool cut, const QRect& area);
