#include "Form1.h"

#include "AppIcon.h"
#include "AsciiHost.h"
#include "Label.h"
#include "MultiLineTextBox.h"
#include "PageRegistry.h"
#include "ResultsTable.h"
#include "SlashCut.h"
#include "icmp/IcmpControl.h"
#include "platform/Controls.h"
#include "platform/Resolver.h"
#include "platform/ui/Dialogs.h"

#include <QApplication>
#include <QCoreApplication>
#include <QHostAddress>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QTabWidget>
#include <QUrl>

#include <algorithm>

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
    wireMonitor();
    wireAsn();
    programFolder = QCoreApplication::applicationDirPath();

    qApp->installEventFilter(this);
    cmdPing->setFocus();
}

Form1::~Form1()
{
    closeMonitors();
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

void Form1::openPage(Page page, const QString& host, bool start, const QString& server, const QString& port)
{
    const PageEntry& entry = pageEntry(page);
    SSTab1->setCurrentIndex(int(page));
    auto* box = findChild<QLineEdit*>(QLatin1String(entry.hostBox));
    auto* button = findChild<QPushButton*>(QLatin1String(entry.actionButton));
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
    // A caption that names no page leaves the default button as it was.
    if (const PageEntry* entry = pageWithCaption(module.CurrentTab))
        setDefaultButton(findChild<QPushButton*>(QLatin1String(entry->actionButton)));
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
                      std::function<void(const QString& host, const HostCheck& answer)> then)
{
    cutTrailingSlash(box);
    checkHostText(box->text(), generation, std::move(then));
}

void Form1::checkHostText(const QString& host, quint64& generation,
                          std::function<void(const QString& host, const HostCheck& answer)> then)
{
    const quint64 check = ++generation;
    const auto answered = [this, host, check, &generation, then](const HostCheck& answer) {
        if (check != generation)   // the same button was pressed again meanwhile: the newest wins
            return;
        if (!answer.found)
            showInvalidDomain(host);
        then(host, answer);
    };
    if (const std::optional<QByteArray> ascii = asciiHostName(host))
        m_platform.resolver->checkHost(*ascii, this, answered);
    else
        answered({});   // no host can have this name: nobody is asked
}

void Form1::cutTrailingSlash(QLineEdit* box)
{
    const QString cut = trailingSlashCut(box->text());
    if (cut != box->text())
        box->setText(cut);
}
