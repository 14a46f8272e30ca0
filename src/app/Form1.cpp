#include "Form1.h"

#include "AppIcon.h"
#include "Label.h"
#include "MultiLineTextBox.h"
#include "ResultsTable.h"
#include "SlashCut.h"
#include "icmp/IcmpControl.h"
#include "platform/Controls.h"
#include "platform/Resolver.h"
#include "platform/ui/Dialogs.h"

#include <QApplication>
#include <QCoreApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QTabWidget>

namespace {

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
    setWindowTitle(kProgramTitle);
    setWindowIcon(appIcon());
    // A fixed window: minimise and close, no maximise, no resizing.
    setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint
                   | Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint);
    setFixedSize(twipsToPixels(kWindowWidthTwips), twipsToPixels(kWindowHeightTwips));
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
    programFolder = QCoreApplication::applicationDirPath();

    qApp->installEventFilter(this);
    cmdPing->setFocus();
}

Form1::~Form1()
{
    qApp->removeEventFilter(this);
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

bool Form1::refusedWithoutConnection()
{
    if (module.IsConnected == kTrue16)
        return false;
    m_platform.messageBox->show(this, QStringLiteral("You must connected to the Internet for this function to work properly."),
                                MessageBox::kNoIcon, kProgramTitle);
    return true;
}

void Form1::showInvalidDomain(const QString& host)
{
    m_platform.messageBox->show(this, host + QStringLiteral(" is an invaild domain name."), MessageBox::kNoIcon,
                                kProgramTitle);
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
