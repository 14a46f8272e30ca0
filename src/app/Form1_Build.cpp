// Building the window from its control table.
#include "Form1.h"

#include "CopySave.h"
#include "Label.h"
#include "MultiLineTextBox.h"
#include "PageRegistry.h"
#include "ReadOnlyBox.h"
#include "ResultsTable.h"
#include "platform/ui/Dialogs.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTabBar>
#include <QTabWidget>
#include <QValidator>

namespace {

constexpr double kPointSize = 8.25;   // the window's Arial and Courier New

QFont fontFor(FontChoice choice, const QFont& windowFont)
{
    switch (choice) {
    case FontChoice::Arial: {
        QFont f(QStringLiteral("Arial"));   // Liberation Sans where Arial is not installed
        f.setStyleHint(QFont::SansSerif);
        f.setPointSizeF(kPointSize);
        return f;
    }
    case FontChoice::CourierNew: {
        QFont f(QStringLiteral("Courier New"));
        f.setPointSizeF(kPointSize);
        f.setStyleHint(QFont::TypeWriter);
        return f;
    }
    case FontChoice::WindowFont:
        break;
    }
    return windowFont;
}

// A one-line box never holds a line break, however its text comes: typed, pasted, dropped or set.
// The breaks are dropped, not cut at: a name copied from a mail or a terminal brings one at its end,
// a name wrapped in a mail one in its middle, and both come out whole, as in a browser's address
// bar; cutting at the first break would silently lose the rest.
class NoLineBreaks final : public QValidator {
public:
    using QValidator::QValidator;
    State validate(QString& input, int& pos) const override
    {
        qsizetype kept = 0;
        int cursor = pos;
        for (qsizetype i = 0; i < input.size(); ++i) {
            const char16_t c = input[i].unicode();
            if (c == u'\n' || c == u'\r' || c == u'\v' || c == u'\f' || c == 0x85 || c == 0x2028 || c == 0x2029) {
                cursor -= i < pos ? 1 : 0;
                continue;
            }
            input[kept++] = input[i];
        }
        input.truncate(kept);
        pos = cursor;
        return Acceptable;
    }
};

} // namespace

void Form1::buildControls()
{
    // The window's own font, which the status lines use, is the Arial of the other controls: the
    // desktop's default may be any face, and on a system whose only fonts are the package's
    // it can even be a monospace one.
    setFont(fontFor(FontChoice::Arial, font()));
    SSTab1 = new QTabWidget(this);
    for (const ControlSpec& control : kControls) {
        if (control.kind == ControlKind::TabControl)
            SSTab1->setGeometry(control.rect.toPixels());   // page controls are placed from it
    }
    for (const PageEntry& entry : pageRegistry())
        SSTab1->addTab(new QWidget, QString::fromLatin1(entry.caption));

    for (const ControlSpec& control : kControls) {
        QWidget* w = control.kind == ControlKind::TabControl ? SSTab1 : buildControl(control);
        control.bind(*this, w);
        w->setObjectName(QString::fromLatin1(control.name));
        w->setFont(fontFor(control.font, font()));
        w->setGeometry(control.rect.toPixels());
        w->setEnabled(control.enabled);
        if (control.page != Page::Window) {
            // Page controls are placed on the tab control's own area, tab strip included. They sit on
            // the window above the tab control, shown with their page, so the tab control's own focus
            // handling never comes between them and the window's tab order.
            w->move(SSTab1->pos() + w->pos());
            m_pageControls.emplace_back(w, int(control.page));
        }
        if (auto* label = qobject_cast<Label*>(w)) {
            if (label->isAutoSize()) {
                // The metric twin of Arial sets these captions about 5% wider than the layout was drawn
                // for, which would run them into the boxes they name; tighten to the layout's widths.
                QFont tighter = label->font();
                tighter.setLetterSpacing(QFont::PercentageSpacing, 95);
                label->setFont(tighter);
            }
            label->setCaption(QString::fromLatin1(control.text));
        }
        if (!control.visible)
            w->hide();
    }

    for (const ControlSpec& control : kControls) {
        if (!control.buddy)
            continue;
        auto* label = findChild<Label*>(QString::fromLatin1(control.name));
        label->setBuddy(findChild<QWidget*>(QString::fromLatin1(control.buddy)));
    }
    HostResponse->setAccessibleName(tr("Results"));
    ListView1->setAccessibleName(tr("Results"));
    addCopyAndSave(ListView1, [this](bool all) { return tableText(*ListView1, !all); }, *m_platform.fileDialog,
                   *m_platform.messageBox);
    addCopyAndSave(HostResponse, [this](bool all) { return HostResponse->shownText(!all); }, *m_platform.fileDialog,
                   *m_platform.messageBox);
    ReceiveWindow->setAccessibleName(tr("Lookup completion"));

    // The output area: the text box lies over the table, which is shown only when it is not.
    HostResponse->raise();
    ListView1->setVisible(HostResponse->isHidden());
    // A label sized to its caption may reach into the box it names; the box stays on top.
    for (Label* label : findChildren<Label*>())
        label->lower();
    ListView1->lower();
    SSTab1->lower();
    applyTabOrder();
    showPageControls(0);
}

QWidget* Form1::buildControl(const ControlSpec& control)
{
    const QString text = QString::fromLatin1(control.text);
    QWidget* w = nullptr;
    switch (control.kind) {
    case ControlKind::Button:
        w = new QPushButton(text, this);
        break;
    case ControlKind::TextBox:
        w = new QLineEdit(text, this);
        break;
    case ControlKind::ReadOnlyTextBox:
        w = new ReadOnlyBox(this);
        break;
    case ControlKind::AutoSizeLabel:
    case ControlKind::FixedLabel:
        w = new Label(control.kind == ControlKind::AutoSizeLabel, this);
        break;
    case ControlKind::ResultsTable: {
        auto* table = new ResultsTable(this);
        table->addColumns(resultColumns());
        w = table;
        break;
    }
    case ControlKind::MultiLineTextBox:
        w = new MultiLineTextBox(this);
        break;
    case ControlKind::TabControl:
        break;
    }

    if (auto* box = qobject_cast<QLineEdit*>(w))
        box->setValidator(new NoLineBreaks(box));
    return w;
}

void Form1::applyTabOrder()
{
    QWidget* previous = nullptr;
    for (const ControlSpec& control : kControls) {
        auto* w = findChild<QWidget*>(QString::fromLatin1(control.name));
        if (control.kind == ControlKind::AutoSizeLabel || control.kind == ControlKind::FixedLabel) {
            w->setFocusPolicy(Qt::NoFocus);
            continue;
        }
        if (w == SSTab1) {
            // The tab strip is what takes the focus; the frame around the pages is no stop of its own.
            SSTab1->setFocusProxy(nullptr);
            SSTab1->setFocusPolicy(Qt::NoFocus);
            w = SSTab1->tabBar();
        }
        w->setFocusPolicy(Qt::StrongFocus);
        if (previous)
            setTabOrder(previous, w);
        previous = w;
    }
}

void Form1::showPageControls(int page)
{
    for (const auto& [control, controlPage] : m_pageControls)
        control->setVisible(controlPage == page);
}
