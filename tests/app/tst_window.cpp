// The built window against its control table, and what a keyboard or screen-reader user meets.
#include "FormHarness.h"
#include "app/ControlTable.h"
#include "app/Label.h"
#include "app/MultiLineTextBox.h"
#include "app/ResultsTable.h"

#include <QAccessible>
#include <QAccessibleTableInterface>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QtTest>

namespace {

const char* className(ControlKind kind)
{
    switch (kind) {
    case ControlKind::Button: return "QPushButton";
    case ControlKind::TabControl: return "QTabWidget";
    case ControlKind::TextBox:
    case ControlKind::ReadOnlyTextBox: return "QLineEdit";
    case ControlKind::AutoSizeLabel:
    case ControlKind::FixedLabel: return "Label";
    case ControlKind::ResultsTable: return "ResultsTable";
    case ControlKind::MultiLineTextBox: return "MultiLineTextBox";
    }
    return "";
}

QString textOf(QWidget* w)
{
    if (auto* b = qobject_cast<QPushButton*>(w)) return b->text();
    if (auto* e = qobject_cast<QLineEdit*>(w)) return e->text();
    if (auto* l = qobject_cast<Label*>(w)) return l->caption();
    if (auto* m = qobject_cast<MultiLineTextBox*>(w)) return m->text();
    return {};
}

} // namespace

class TestWindow : public QObject {
    Q_OBJECT
private slots:
    // A control missing, misplaced, mis-fonted or on the wrong page.
    void controlMatchesTable_data()
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < int(controlTable().size()); ++i)
            QTest::newRow(controlTable()[i].name) << i;
    }
    void controlMatchesTable()
    {
        QFETCH(int, index);
        const ControlSpec& control = controlTable()[index];
        FormHarness h({.load = false});
        Form1& form = *h.form;
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));

        auto* w = form.findChild<QWidget*>(QString::fromLatin1(control.name));
        QVERIFY2(w, control.name);
        QVERIFY(w->inherits(className(control.kind)));
        if (control.kind != ControlKind::TabControl)
            QCOMPARE(textOf(w), QString::fromLatin1(control.text));
        QCOMPARE(w->isEnabled(), control.enabled);

        const QFont font = w->font();
        switch (control.font) {
        case FontChoice::Arial:
            QCOMPARE(font.family(), QStringLiteral("Arial"));
            QCOMPARE(font.pointSizeF(), 8.25);
            break;
        case FontChoice::CourierNew:
            QCOMPARE(font.family(), QStringLiteral("Courier New"));
            QCOMPARE(font.pointSizeF(), 8.25);
            break;
        case FontChoice::WindowFont:
            QCOMPARE(font, form.font());
            break;
        }

        // Page controls are placed on the tab control's own area; the others on the window.
        QRect expected = control.rect.toPixels();
        if (control.page != Page::Window)
            expected.translate(form.SSTab1->pos());
        if (control.kind != ControlKind::TabControl)
            QCOMPARE(w->parentWidget(), &form);
        QCOMPARE(w->pos(), expected.topLeft());
        auto* label = qobject_cast<Label*>(w);
        QCOMPARE(label && label->isAutoSize(), control.kind == ControlKind::AutoSizeLabel);
        if (label && label->isAutoSize())
            QCOMPARE(w->size(), label->fittedSize(label->caption()));
        else
            QCOMPARE(w->size(), expected.size());

        // Only the controls of the page in front show.
        for (int page = 0; page < 4; ++page) {
            form.SSTab1->setCurrentIndex(page);
            const bool shown = control.kind == ControlKind::ResultsTable ? form.HostResponse->isHidden()
                : control.page == Page::Window                           ? control.visible
                                                                         : int(control.page) == page;
            QCOMPARE(w->isVisible(), shown);
        }

        if (control.kind == ControlKind::ReadOnlyTextBox) {
            auto* box = qobject_cast<QLineEdit*>(w);
            QVERIFY(box->isReadOnly());
            QCOMPARE(box->palette().color(QPalette::Base), box->palette().color(QPalette::Button));
        }
    }

    // The window itself: caption, fixed size, icon, no maximise, tab captions and the table's columns.
    void windowAndTabs()
    {
        FormHarness h({.load = false});
        Form1& form = *h.form;
        QCOMPARE(form.windowTitle(), QStringLiteral("Pathlark"));
        QCOMPARE(form.size(), QSize(599, 351));
        QCOMPARE(form.minimumSize(), form.maximumSize());
        QVERIFY(form.windowFlags() & Qt::WindowMinimizeButtonHint);
        QVERIFY(!(form.windowFlags() & Qt::WindowMaximizeButtonHint));
        QVERIFY(!form.windowIcon().pixmap(32, 32).isNull());
        QCOMPARE(form.windowIcon().pixmap(32, 32).size(), QSize(32, 32));

        const QStringList words{"Ping", "Traceroute", "DNS Lookup", "Whois"};
        QCOMPARE(form.SSTab1->count(), 4);
        for (int i = 0; i < 4; ++i) {
            const QString after(i == 0 ? 18 : 8, u' ');
            QCOMPARE(form.SSTab1->tabText(i), QString(9, u' ') + words[i] + after);
        }
        QCOMPARE(form.SSTab1->currentIndex(), 0);

        const QStringList keys{"Hop", "DIP", "DDN", "Time", "Bytes", "TTL"};
        const QStringList headers{"Hop", "Destination IP", "Dest. Domain Name", "Trip Time", "Bytes", "TTL"};
        const QList<int> widths{20, 120, 159, 47, 27, 96};
        QCOMPARE(form.ListView1->columnCount(), 6);
        QVERIFY(!form.ListView1->isHeaderHidden());
        for (int i = 0; i < 6; ++i) {
            QCOMPARE(form.ListView1->columnByKey(keys[i]), i);
            QCOMPARE(form.ListView1->headerItem()->text(i), headers[i]);
            QCOMPARE(form.ListView1->columnWidth(i), widths[i]);
        }
        QCOMPARE(form.ListView1->columnByKey("Nope"), -1);
        QCOMPARE(form.ListView1->topLevelItemCount(), 0);
    }

    // The output area: the text box covers the table exactly when it is visible.
    void outputAreaStacking()
    {
        FormHarness h({.load = false});
        Form1& form = *h.form;
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        const QPoint middle = form.HostResponse->geometry().center();
        QWidget* top = form.childAt(middle);
        QVERIFY(top && (top == form.HostResponse || form.HostResponse->isAncestorOf(top)));
        form.HostResponse->hide();
        top = form.childAt(middle);
        QVERIFY(top && (top == form.ListView1 || form.ListView1->isAncestorOf(top)));
        QVERIFY(!form.ReceiveWindow->isVisible());
    }

    // A label sized to its caption that keeps its old size, or a fixed label that resizes.
    void labelsFollowTheirCaption()
    {
        FormHarness h({.load = false});
        Form1& form = *h.form;
        const QSize before = form.Label1->size();
        form.Label1->setCaption(QStringLiteral("Remote Host: https://with.a.longer.prefix/"));
        QVERIFY(form.Label1->width() > before.width());
        form.Label1->setCaption(QStringLiteral("Host:"));
        QVERIFY(form.Label1->width() < before.width());
        QCOMPARE(form.Label1->pos(), QPoint(6 + 56, 7 + 54));

        // Captions beside their boxes stay clear of them.
        for (Label* label : {form.Label2, form.Label4, form.Label5, form.Label3, form.Label6})
            QVERIFY2(label->geometry().right() < label->buddy()->x(), qPrintable(label->objectName()));

        const QSize fixed = form.lblCaption->size();
        form.lblCaption->setCaption(QStringLiteral("Pinging a-very-long-host-name.example with 32 bytes of data"));
        QCOMPARE(form.lblCaption->size(), fixed);
    }

    // Keyboard-only users: Tab walks the focusable controls of the page in table order.
    void tabWalksTheTableOrder()
    {
        FormHarness h;   // connected: the table shows, the text box is hidden
        Form1& form = *h.form;
        form.showCentred();
        QVERIFY(QTest::qWaitForWindowActive(&form));
        QCOMPARE(QApplication::focusWidget(), form.cmdPing);

        const auto walk = [&](int steps) {
            QStringList names;
            for (int i = 0; i < steps; ++i) {
                QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
                QWidget* f = QApplication::focusWidget();
                names << (f == form.SSTab1->tabBar() ? QStringLiteral("SSTab1") : f->objectName());
            }
            return names;
        };
        // cmdCancel is disabled and skipped; labels never take the focus.
        QCOMPARE(walk(5), (QStringList{"SSTab1", "txtLocal", "txtRemote", "ListView1", "cmdPing"}));

        form.cmdCancel->setEnabled(true);
        form.SSTab1->setCurrentIndex(3);
        form.Command1->setFocus();
        QCOMPARE(walk(5), (QStringList{"Text3", "Text2", "Text1", "SSTab1", "ListView1"}));
        QCOMPARE(walk(1), (QStringList{"Command1"}));
    }

    // Screen readers: boxes named by their labels, buttons by captions, table cells readable.
    void accessibleNames()
    {
        FormHarness h;
        Form1& form = *h.form;
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        const auto name = [](QWidget* w) {
            QAccessibleInterface* a = QAccessible::queryAccessibleInterface(w);
            return a ? a->text(QAccessible::Name) : QString();
        };
        QCOMPARE(name(form.txtRemote), QStringLiteral("Remote Host: http://"));
        QCOMPARE(name(form.txtLocal), QStringLiteral("This Computer's IP number:"));
        QCOMPARE(name(form.Text3), QStringLiteral("Port Number WhoIs Server Is Listening On:"));
        QCOMPARE(name(form.Text2), QStringLiteral("WhoIs Server to Query"));
        QCOMPARE(name(form.Text1), QStringLiteral("Domain Name to Lookup:"));
        QCOMPARE(name(form.cmdTraceroute), QStringLiteral("Trace Route"));
        QCOMPARE(name(form.Command1), QStringLiteral("Do Query"));
        QVERIFY(!name(form.HostResponse).isEmpty());

        form.ListView1->addRow(QStringLiteral("--"), {"198.18.0.1", "gw.test", "0.05 ms", "32", "64"});
        QAccessibleInterface* table = QAccessible::queryAccessibleInterface(form.ListView1);
        QVERIFY(table && table->tableInterface());
        QAccessibleTableInterface* t = table->tableInterface();
        QCOMPARE(t->columnCount(), 6);
        QTRY_COMPARE(t->rowCount(), 1);
        QCOMPARE(t->columnDescription(1), QStringLiteral("Destination IP"));
        QAccessibleInterface* cell = t->cellAt(0, 2);
        QVERIFY(cell);
        QCOMPARE(cell->text(QAccessible::Name), QStringLiteral("gw.test"));
    }
};

QTEST_MAIN(TestWindow)
#include "tst_window.moc"
