#include "Form1.h"

#include "AppIcon.h"
#include "ControlTable.h"
#include "CopySave.h"
#include "Label.h"
#include "MultiLineTextBox.h"
#include "ReadOnlyBox.h"
#include "ResultsTable.h"
#include "SlashCut.h"
#include "platform/IcmpControl.h"
#include "platform/ui/Dialogs.h"
#include "platform/Resolver.h"
#include "platform/TcpControl.h"
#include "platform/Timer.h"

#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QTabWidget>

namespace {

const QString kTitle = QStringLiteral("Pathlark");
constexpr qint16 kKeyF1 = 112;

QFont fontFor(FontChoice choice, const QFont& windowFont)
{
    switch (choice) {
    case FontChoice::Arial: {
        QFont f(QStringLiteral("Arial"));
        f.setPointSizeF(kArialPointSize);
        return f;
    }
    case FontChoice::CourierNew: {
        QFont f(QStringLiteral("Courier New"));
        f.setPointSizeF(kCourierPointSize);
        f.setStyleHint(QFont::TypeWriter);
        return f;
    }
    case FontChoice::WindowFont:
        break;
    }
    return windowFont;
}

// Blanks only, as the captions are padded with blanks.
QString trimBlanks(const QString& s)
{
    qsizetype start = 0, end = s.size();
    while (start < end && s[start] == u' ')
        ++start;
    while (end > start && s[end - 1] == u' ')
        --end;
    return s.mid(start, end - start);
}

} // namespace

Form1::Form1(const Platform& platform, QWidget* parent)
    : QWidget(parent)
    , m_platform(platform)
{
    setObjectName(QStringLiteral("Form1"));
    setWindowTitle(kTitle);
    setWindowIcon(appIcon());
    // A fixed window: minimise and close, no maximise, no resizing.
    setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint
                   | Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint);
    setFixedSize(twipsToPixels(kWindow.clientWidthTwips), twipsToPixels(kWindow.clientHeightTwips));
    // The status lines use the window's font: the desktop's own, so they read like the rest of it.
    setFont(QApplication::font());

    buildControls();

    axICMP1 = m_platform.createIcmpControl(this);
    Winsock1 = m_platform.createTcpControl(this);
    Timer1 = m_platform.createTimer(this);
    Timer1->setInterval(0);
    Timer1->setEnabled(true);

    connect(SSTab1, &QTabWidget::currentChanged, this, [this](int index) {
        const int previous = m_currentPage;
        m_currentPage = index;
        showPageControls(index);
        SSTab1_Click(qint16(previous));
    });
    wireIcmp();
    wireDns();
    wireWhois();
    wireHelp();

    qApp->installEventFilter(this);
    cmdPing->setFocus();
}

Form1::~Form1()
{
    qApp->removeEventFilter(this);
}

void Form1::buildControls()
{
    SSTab1 = new QTabWidget(this);
    for (const ControlSpec& control : controlTable()) {
        if (control.kind == ControlKind::TabControl)
            SSTab1->setGeometry(control.rect.toPixels());   // page controls are placed from it
    }
    for (const char* caption : tabCaptions())
        SSTab1->addTab(new QWidget, QString::fromLatin1(caption));

    for (const ControlSpec& control : controlTable()) {
        QWidget* w = control.kind == ControlKind::TabControl ? SSTab1 : buildControl(control);
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

    for (const ControlSpec& control : controlTable()) {
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

    // Bind the named members.
    const QString name = QString::fromLatin1(control.name);
    const auto bind = [&](auto*& member, const char* memberName) {
        if (name == QLatin1String(memberName))
            member = static_cast<std::remove_reference_t<decltype(member)>>(w);
    };
    bind(cmdPing, "cmdPing");
    bind(cmdCancel, "cmdCancel");
    bind(txtLocal, "txtLocal");
    bind(txtRemote, "txtRemote");
    bind(Label2, "Label2");
    bind(Label1, "Label1");
    bind(ListView1, "ListView1");
    bind(lblCaption, "lblCaption");
    bind(lblCaptionTrace, "lblCaptionTrace");
    bind(DoLookup, "DoLookup");
    bind(DNSHost, "DNSHost");
    bind(HostResponse, "HostResponse");
    bind(ReceiveWindow, "ReceiveWindow");
    bind(Label5, "Label5");
    bind(Label6, "Label6");
    bind(txtLocalDNS, "txtLocalDNS");
    bind(lblCaptionDNS, "lblCaptionDNS");
    bind(Command1, "Command1");
    bind(Text3, "Text3");
    bind(Text2, "Text2");
    bind(Text1, "Text1");
    bind(Label7, "Label7");
    bind(Label8, "Label8");
    bind(Label9, "Label9");
    bind(cmdTraceroute, "cmdTraceroute");
    bind(cmdCancelTrace, "cmdCancelTrace");
    bind(txtRemoteTrace, "txtRemoteTrace");
    bind(Label3, "Label3");
    bind(txtLocalTrace, "txtLocalTrace");
    bind(Label4, "Label4");
    return w;
}

void Form1::applyTabOrder()
{
    QWidget* previous = nullptr;
    for (const ControlSpec& control : controlTable()) {
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

void Form1::showCentred()
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (screen)
        move(screen->availableGeometry().center() - QPoint(width() / 2, height() / 2));
    show();
    SSTab1->setCurrentIndex(0);
    cmdPing->setFocus();
}

void Form1::openPage(int page, const QString& host, bool start, const QString& server, const QString& port)
{
    SSTab1->setCurrentIndex(page);
    const std::array<std::pair<QLineEdit*, QPushButton*>, 4> pages{
        {{txtRemote, cmdPing}, {txtRemoteTrace, cmdTraceroute}, {DNSHost, DoLookup}, {Text1, Command1}}};
    const auto& [box, button] = pages.at(size_t(page));
    if (!server.isNull())
        Text2->setText(server);
    if (!port.isNull())
        Text3->setText(port);
    box->setFocus();
    if (!start)
        return;
    box->setText(host);
    button->click();
}

void Form1::SSTab1_Click(qint16 /*previoustab*/)
{
    module.CurrentTab = trimBlanks(SSTab1->tabText(SSTab1->currentIndex()));

    static const std::pair<const char*, QPushButton* Form1::*> kActionButtons[] = {
        {"Ping", &Form1::cmdPing},
        {"Traceroute", &Form1::cmdTraceroute},
        {"DNS Lookup", &Form1::DoLookup},
        {"Whois", &Form1::Command1},
    };
    for (const auto& [caption, button] : kActionButtons) {
        if (module.CurrentTab == QLatin1String(caption)) {
            setDefaultButton(this->*button);
            return;
        }
    }
}

void Form1::setDefaultButton(QPushButton* button)
{
    if (m_defaultButton)
        m_defaultButton->setDefault(false);
    m_defaultButton = button;
    if (m_defaultButton)
        m_defaultButton->setDefault(true);
}

bool Form1::pressEnter()
{
    if (auto* focused = qobject_cast<QPushButton*>(QApplication::focusWidget()); focused && isAncestorOf(focused)) {
        if (focused->isEnabled())
            focused->click();
        return true;
    }
    if (m_defaultButton && m_defaultButton->isEnabled())
        m_defaultButton->click();
    return true;
}

bool Form1::eventFilter(QObject* watched, QEvent* event)
{
    const QEvent::Type type = event->type();
    // The text box lies over the table: while it shows, the table is hidden too, so that a
    // screen reader or the Tab key never meets a second, stale "Results" behind it.
    if (watched == HostResponse && (type == QEvent::ShowToParent || type == QEvent::HideToParent)) {
        ListView1->setVisible(type == QEvent::HideToParent);
        return false;
    }
    if (type != QEvent::KeyPress && type != QEvent::KeyRelease)
        return false;
    auto* widget = qobject_cast<QWidget*>(watched);
    if (!widget || (widget != this && !isAncestorOf(widget)))
        return false;

    auto* key = static_cast<QKeyEvent*>(event);
    if (type == QEvent::KeyPress && (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter))
        return pressEnter();
    if (type == QEvent::KeyRelease && KeyPreview && !key->isAutoRepeat()) {
        qint16 keyCode = 0;
        if (key->key() >= Qt::Key_F1 && key->key() <= Qt::Key_F24)
            keyCode = qint16(kKeyF1 + (key->key() - Qt::Key_F1));
        else if (key->key() < 0x80)
            keyCode = qint16(key->key());
        const Qt::KeyboardModifiers mods = key->modifiers();
        qint16 shift = qint16((mods & Qt::ShiftModifier ? 1 : 0) | (mods & Qt::ControlModifier ? 2 : 0)
                              | (mods & Qt::AltModifier ? 4 : 0));
        Form_KeyUp(keyCode, shift);
        // F1 is handled once, here; other releases go on to their widgets (Space clicks a button on release).
        return keyCode == kKeyF1;
    }
    return false;
}

void Form1::closeEvent(QCloseEvent* event)
{
    qint16 cancel = 0;
    Form_Unload(cancel);
    event->accept();
}

void Form1::showNotConnected()
{
    m_platform.messageBox->show(this, QStringLiteral("You must connected to the Internet for this function to work properly."),
                                MessageBox::kNoIcon, kTitle);
}

void Form1::showInvalidDomain(const QString& host)
{
    m_platform.messageBox->show(this, host + QStringLiteral(" is an invaild domain name."), MessageBox::kNoIcon, kTitle);
}

void Form1::checkHost(QLineEdit* box, quint64& generation,
                      std::function<void(const QString& host, bool found)> then)
{
    cutTrailingSlash(box);
    const QString host = box->text();
    const quint64 check = ++generation;
    m_platform.resolver->checkHost(host.toUtf8(), this, [this, host, check, &generation, then](bool found) {
        if (check != generation)   // the same button was pressed again meanwhile: the newest wins
            return;
        if (!found)
            showInvalidDomain(host);
        then(host, found);
    });
}

void Form1::cutTrailingSlash(QLineEdit* box)
{
    const QString cut = trailingSlashCut(box->text());
    if (cut != box->text())
        box->setText(cut);
}
