// Texts from outside, and texts too long for their place, as the window shows them: the
// results table, the status lines and the read-only boxes.
#include "FormHarness.h"
#include "app/Application.h"
#include "app/Label.h"
#include "app/ReadOnlyBox.h"
#include "app/ResultsTable.h"

#include <QAccessible>
#include <QTextDocumentFragment>
#include <QToolTip>
#include <QtTest>

namespace {

// The tooltip that a hover at `pos` over `w` shows, as plain text; empty when none shows.
QString toolTipAt(QWidget* w, QPoint pos)
{
    for (QWidget* top : QApplication::topLevelWidgets())
        if (top->inherits("QTipLabel"))
            top->hide();   // hideText() would leave the last tip up for a moment
    QHelpEvent event(QEvent::ToolTip, pos, w->mapToGlobal(pos));
    QApplication::sendEvent(w, &event);
    return QToolTip::isVisible() ? QTextDocumentFragment::fromHtml(QToolTip::text()).toPlainText() : QString();
}

// What `w` draws on a white ground.
QImage drawn(QWidget* w)
{
    QImage image(w->size(), QImage::Format_ARGB32);
    image.fill(Qt::white);
    w->render(&image, {}, {}, QWidget::DrawChildren);
    return image;
}

QString cellToolTip(ResultsTable* table, int row, int column)
{
    const QRect cell = table->visualRect(table->model()->index(row, column));
    return toolTipAt(table->viewport(), cell.center());
}

const QString kNoPermission = QStringLiteral(
    "Not allowed to send ICMP (Operation not permitted). Add your group to the sysctl net.ipv4.ping_group_range "
    "(for example sysctl -w net.ipv4.ping_group_range=\"0 2147483647\") or give the program the capability: "
    "setcap cap_net_raw+ep /usr/lib/pathlark/pathlark");

} // namespace

class TestWholeText : public QObject {
    Q_OBJECT
private slots:
    // Fault caught: a name that reorders, hides or breaks its line (bidi, zero-width and control
    // characters, tabs that would split a copied row, markup) in a row, a status line or a box.
    void hostileNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("shown");
        QTest::newRow("right-to-left override") << QStringLiteral("abc\u202Egnp.exe") << QStringLiteral("abc\uFFFDgnp.exe");
        QTest::newRow("isolates and marks") << QStringLiteral("a\u2067b\u2069\u200Fc") << QStringLiteral("a\uFFFDb\uFFFD\uFFFDc");
        QTest::newRow("zero width") << QStringLiteral("pay\u200Bpal\uFEFF.test") << QStringLiteral("pay\uFFFDpal\uFFFD.test");
        QTest::newRow("escape") << QStringLiteral("a\x1b[31mred") << QStringLiteral("a\u241B[31mred");
        QTest::newRow("line breaks and tab") << QStringLiteral("one\ntwo\u2028three\tfour") << QStringLiteral("one\u240Atwo\uFFFDthree\u2409four");
        QTest::newRow("markup") << QStringLiteral("<b>bold</b>&amp;") << QStringLiteral("<b>bold</b>&amp;");
    }
    void hostileNames()
    {
        QFETCH(QString, name);
        QFETCH(QString, shown);
        FormHarness h;
        h.edit("txtLocal")->setText(name + " (198.18.0.5)");
        QCOMPARE(h.edit("txtLocal")->text(), shown + " (198.18.0.5)");

        h.edit("txtRemote")->setText(name);
        h.button("cmdPing")->click();
        QCOMPARE(h.find<Label>("lblCaption")->caption(), "Pinging " + shown + " with 32 bytes of data");
        auto* table = h.find<ResultsTable>("ListView1");
        emit h.icmp->PingData("198.18.5.2", name, "1.00 ms", "Success", 0, 32, 64);
        QCOMPARE(table->row(0).at(2), shown);
        h.button("cmdTraceroute")->click();
        QCOMPARE(h.find<Label>("lblCaptionTrace")->caption(), "Tracing route to " + shown);
        h.icmp->traceData("198.18.1.1", name + QString(60, u'x'), "0.10 ms", name, name);
        QCOMPARE(table->row(0), (QStringList{shown, "198.18.1.1", shown + QString(60, u'x'), "0.10 ms", "0", shown}));
        h.form->show();
        QVERIFY(QTest::qWaitForWindowExposed(h.form.get()));
        QCOMPARE(cellToolTip(table, 0, 2), shown + QString(60, u'x'));
    }

    // Fault caught: a text cut where the user cannot get it whole (no tooltip, or one that differs
    // from what a copy gives), a sentence cut in its middle, a number cut at its end, a tooltip
    // on a text that shows whole, a screen reader given the cut text.
    void longTexts_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("cut");
        QTest::addColumn<int>("elision");
        QTest::newRow("no permission") << 1 << kNoPermission << true << int(Qt::ElideRight);
        QTest::newRow("ttl expired") << 5 << QStringLiteral("TTL expired in transit") << true << int(Qt::ElideRight);
        QTest::newRow("error in hop") << 0 << QStringLiteral("Error") << true << int(Qt::ElideRight);
        QTest::newRow("long name") << 2 << QStringLiteral("a-rather-long-router-name.backbone.example.test") << true << int(Qt::ElideRight);
        QTest::newRow("ipv6 address") << 1 << QStringLiteral("2001:db8:1234:5678:9abc:def0:1234:5678") << true << int(Qt::ElideRight);
        QTest::newRow("long time") << 3 << QStringLiteral("1234567.89 ms") << true << int(Qt::ElideLeft);
        QTest::newRow("long count") << 4 << QStringLiteral("123456789") << true << int(Qt::ElideLeft);
        QTest::newRow("short ttl") << 5 << QStringLiteral("64") << false << int(Qt::ElideLeft);
    }
    void longTexts()
    {
        QFETCH(int, column);
        QFETCH(QString, text);
        QFETCH(bool, cut);
        QFETCH(int, elision);
        FormHarness h;
        h.form->show();
        QVERIFY(QTest::qWaitForWindowExposed(h.form.get()));
        h.openTab(1);
        h.edit("txtRemoteTrace")->setText(text);
        h.button("cmdTraceroute")->click();
        QStringList cells(6, QStringLiteral("1"));
        cells[column] = text;
        auto* table = h.find<ResultsTable>("ListView1");
        table->addRow(cells[0], cells.mid(1));
        QCOMPARE(table->row(0).at(column), text);
        QCOMPARE(cellToolTip(table, 0, column), cut ? text : QString());
        QCOMPARE(int(table->elision(0, column)), elision);

        // The same text in a status line and in a read-only box: whole in the tooltip and to a
        // screen reader, cut at its end in view.
        const bool tooLongForTheLine = text == kNoPermission;
        auto* caption = h.find<Label>("lblCaptionTrace");
        const QString line = "Tracing route to " + text;
        QCOMPARE(toolTipAt(caption, {5, 5}), tooLongForTheLine ? line : QString());
        QCOMPARE(QAccessible::queryAccessibleInterface(caption)->text(QAccessible::Name), line);
        QLabel cutByHand(caption->fontMetrics().elidedText(line, Qt::ElideRight, caption->width()));
        cutByHand.setFont(caption->font());
        cutByHand.setGeometry(caption->geometry());
        cutByHand.setAlignment(caption->alignment());
        QCOMPARE(drawn(caption), drawn(&cutByHand));
        auto* box = h.find<ReadOnlyBox>("txtLocalTrace");
        box->setText(text);
        QCOMPARE(toolTipAt(box, {5, 5}), tooLongForTheLine ? text : QString());
        QCOMPARE(box->cursorPosition(), 0);
    }

    // Fault caught: status lines in the desktop's default face, which on a bare system can be a
    // monospace one, instead of the sans face of the rest of the window.
    void statusLineFace()
    {
        FormHarness h;
        const QFontInfo button(h.button("cmdPing")->font());
        for (const char* name : {"lblCaption", "lblCaptionTrace", "lblCaptionDNS"}) {
            const QFontInfo status(h.find<Label>(name)->font());
            QCOMPARE(status.family(), button.family());
            QVERIFY(!status.fixedPitch());
        }
    }

    // Fault caught: tooltips, menus and message boxes in a monospace face where the desktop's
    // default font is one (a bare system matches "Sans Serif" with Liberation Mono); a desktop's
    // own sans face replaced.
    void defaultFace()
    {
        const QFont desktop = QApplication::font();
        for (const char* family : {"Liberation Mono", "DejaVu Sans"}) {
            QApplication::setFont(QFont(QString::fromLatin1(family), 9));
            keepDefaultFontSans();
            const QFontInfo now(QApplication::font());
            QVERIFY(!now.fixedPitch());
            QCOMPARE(now.family() == QLatin1String(family), !QFontInfo(QFont(family)).fixedPitch());
            QCOMPARE(now.pointSize(), 9);
        }
        QApplication::setFont(desktop);
    }
};

QTEST_MAIN(TestWholeText)
#include "tst_whole_text.moc"
