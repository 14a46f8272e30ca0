// Texts from outside, and texts too long for their place, as the window shows them: the
// results table, the status lines and the read-only boxes.
#include "FormHarness.h"
#include "app/Application.h"
#include "app/Label.h"
#include "app/ResultsTable.h"

#include <QAccessible>
#include <QTextDocumentFragment>
#include <QToolTip>
#include <QtTest>

namespace {

// The tooltip that a hover at `pos` over `w` shows, as plain text; empty when none shows.
QString toolTipAt(QWidget* w, QPoint pos = {5, 5})
{
    for (QWidget* top : QApplication::topLevelWidgets())
        if (top->inherits("QTipLabel"))
            top->hide();   // hideText() would leave the last tip up for a moment
    QHelpEvent event(QEvent::ToolTip, pos, w->mapToGlobal(pos));
    QApplication::sendEvent(w, &event);
    return QToolTip::isVisible() ? QTextDocumentFragment::fromHtml(QToolTip::text()).toPlainText() : QString();
}

QString cellToolTip(ResultsTable* table, int column)
{
    return toolTipAt(table->viewport(), table->visualRect(table->model()->index(0, column)).center());
}

} // namespace

class TestWholeText : public QObject {
    Q_OBJECT
private slots:
    // Fault caught: a name that reorders, hides or breaks its line (bidi, zero-width and control
    // characters, tabs that would split a copied row, markup) in a row, its tooltip, a status line or a box.
    void hostileNames()
    {
        const std::pair<const char16_t*, const char16_t*> names[] = {
            {u"abc\u202Egnp.exe\u2067\u200F", u"abc\uFFFDgnp.exe\uFFFD\uFFFD"},
            {u"pay\u200Bpal\uFEFF.test", u"pay\uFFFDpal\uFFFD.test"},
            {u"a\x1b[31m\x07two\u2066\tb", u"a\u241B[31m\u2407two\uFFFD\u2409b"},
            {u"<b>bold</b>&amp;", u"<b>bold</b>&amp;"}};
        FormHarness h;
        auto* table = h.find<ResultsTable>("ListView1");
        for (const auto& [raw, neutral] : names) {
            const QString name = QString::fromUtf16(raw), shown = QString::fromUtf16(neutral), tail(60, u'x');
            h.edit("txtLocal")->setText(name);
            h.button("cmdTraceroute")->click();   // a typed name this hostile is refused before it is shown
            h.icmp->traceData("198.18.1.1", name + tail, "0.10 ms", name, name);
            emit h.icmp->SequenceComplete();
            h.find<Label>("lblCaptionTrace")->setCaption("Tracing route to " + name);
            QCOMPARE(h.edit("txtLocal")->text() + '|' + h.find<Label>("lblCaptionTrace")->caption(), shown + "|Tracing route to " + shown);
            QCOMPARE(table->row(0), (QStringList{shown, "198.18.1.1", shown + tail, "0.10 ms", "0", shown}));
            QCOMPARE(cellToolTip(table, 2), table->row(0).at(2));
        }
    }

    // Fault caught: a text cut where the user cannot get it whole (no tooltip, or one that differs
    // from what a copy gives), a sentence cut in its middle, a number cut at its end, a tooltip on
    // a text that shows whole, a screen reader given the cut text.
    void longTexts()
    {
        const QString noPermission = QStringLiteral("Not allowed to send ICMP (Operation not permitted). Add your group to "
                                                    "net.ipv4.ping_group_range or: setcap cap_net_raw+ep /usr/lib/pathlark/pathlark");
        // The column, the text, whether it is cut there and which end then gives way.
        const std::tuple<int, QString, bool, Qt::TextElideMode> cases[] = {
            {1, noPermission, true, Qt::ElideRight}, {5, "TTL expired in transit", true, Qt::ElideRight},
            {0, "Error", true, Qt::ElideRight}, {3, "1234567.89 ms", true, Qt::ElideLeft},
            {4, "123456789", true, Qt::ElideLeft}, {5, "64", false, Qt::ElideLeft}};
        FormHarness h;
        auto* table = h.find<ResultsTable>("ListView1");
        auto* caption = h.find<Label>("lblCaptionTrace");
        QLineEdit* box = h.edit("txtLocalTrace");
        const auto drawn = [](QWidget* w) {
            QImage image(w->size(), QImage::Format_ARGB32);
            return image.fill(Qt::white), w->render(&image, {}, {}, QWidget::DrawChildren), image;
        };
        for (const auto& [column, text, cut, elision] : cases) {
            QStringList cells(6, QStringLiteral("1"));
            cells[column] = text;
            table->clear();
            table->addRow(cells[0], cells.mid(1));
            QCOMPARE(cellToolTip(table, column), cut ? table->row(0).at(column) : QString());
            QCOMPARE(table->elision(0, column), elision);

            // The same text in a status line and a read-only box: whole in the tooltip and to a
            // screen reader, cut at its end in view.
            const QString line = "Tracing route to " + text, whole = text == noPermission ? text : QString();
            caption->setCaption(line);
            box->setText(text);
            QCOMPARE(toolTipAt(caption) + '|' + toolTipAt(box), (whole.isEmpty() ? "|" : line + '|' + text));
            QCOMPARE(QAccessible::queryAccessibleInterface(caption)->text(QAccessible::Name), line);
            QLabel cutByHand(caption->fontMetrics().elidedText(line, Qt::ElideRight, caption->width()));
            cutByHand.setFont(caption->font()), cutByHand.setGeometry(caption->geometry()), cutByHand.setAlignment(caption->alignment());
            QCOMPARE(drawn(caption), drawn(&cutByHand));
            QCOMPARE(box->cursorPosition(), 0);
        }
    }

    // Fault caught: status lines, or tooltips, menus and message boxes, in a monospace face where
    // the desktop's default is one (a bare system matches "Sans Serif" with Liberation Mono), or
    // a desktop's own sans face replaced.
    void sansFaces()
    {
        FormHarness h;
        for (const char* name : {"lblCaption", "lblCaptionTrace", "lblCaptionDNS"})
            QCOMPARE(QFontInfo(h.find<Label>(name)->font()).family(), QFontInfo(h.button("cmdPing")->font()).family());
        const QFont desktop = QApplication::font();
        for (const char* family : {"Liberation Mono", "DejaVu Sans"}) {
            QApplication::setFont(QFont(QString::fromLatin1(family), 9));
            keepDefaultFontSans();
            const QFontInfo now(QApplication::font());
            QVERIFY(!now.fixedPitch() && now.pointSize() == 9);
            QCOMPARE(now.family() == QLatin1String(family), !QFontInfo(QFont(family)).fixedPitch());
        }
        QApplication::setFont(desktop);
    }
};

QTEST_MAIN(TestWholeText)
#include "tst_whole_text.moc"
