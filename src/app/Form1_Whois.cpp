// Whois page: one query line to a whois server over TCP, the whole answer shown when
// the server closes, or a time-out message after 30 seconds. Then, unless turned off, the server
// the answer refers to is asked the same (whois/ReferralChain), and so on for up to three
// referrals, each answer appended below a line naming its server.
#include "Form1.h"

#include "AsciiHost.h"
#include "MultiLineTextBox.h"
#include "platform/ui/Dialogs.h"
#include "platform/Controls.h"
#include "whois/Whois.h"

#include <QAction>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>

namespace {

constexpr int kTimeOutMs = 30000;

// A domain in other scripts is asked in its ASCII form, which is what registries index. A query
// that is no domain name (a handle, an AS number, words) goes as typed, and so does an ASCII one,
// whose case some servers' handles keep.
QString whoisQuery(const QString& typed)
{
    const std::optional<QByteArray> ascii = asciiHostName(typed);
    return ascii ? QString::fromUtf8(*ascii) : typed;
}

} // namespace

void Form1::wireWhois()
{
    connect(Command1, &QPushButton::clicked, this, &Form1::Command1_Click);
    connect(Winsock1, &TcpControl::connected, this, &Form1::Winsock1_Connect);
    connect(Winsock1, &TcpControl::dataArrival, this, &Form1::Winsock1_DataArrival);
    connect(Winsock1, &TcpControl::closed, this, &Form1::Winsock1_Close);
    connect(Timer1, &Timer::tick, this, &Form1::Timer1_Timer);
    connect(Winsock1, &TcpControl::failed, this, &Form1::Winsock1_Failed);
    // In the result box's menu, shown while the Whois page is in front.
    WI_FollowReferrals = new QAction(QStringLiteral("Follow Referrals"), HostResponse);
    WI_FollowReferrals->setCheckable(true);
    WI_FollowReferrals->setChecked(true);
    auto* separator = new QAction(HostResponse);
    separator->setSeparator(true);
    HostResponse->addActions({separator, WI_FollowReferrals});
    const auto showOnWhois = [this, separator](int page) {
        separator->setVisible(page == int(Page::Whois));
        WI_FollowReferrals->setVisible(page == int(Page::Whois));
    };
    connect(SSTab1, &QTabWidget::currentChanged, this, showOnWhois);
    showOnWhois(SSTab1->currentIndex());
}

void Form1::setFollowReferrals(bool follow)
{
    WI_FollowReferrals->setChecked(follow);
}

void Form1::Command1_Click()
{
    if (refusedWithoutConnection())
        return;
    HostResponse->setVisible(true);
    m_platform.busyPointer->setBusy(true);
    Command1->setEnabled(false);
    // A domain of 0 or 1 characters has no last two to search: it is sent as typed.
    cutTrailingSlash(Text1);
    QueryText = whoisQuery(Text1->text());
    ServerName = Text2->text();
    const std::optional<qint32> port = whois::portNumber(Text3->text());
    if (!port) {
        // Nothing to connect to: back to idle before the modal box, which then says why.
        whoisIdle();
        m_platform.messageBox->show(this, QStringLiteral("The port number must be a whole number from 0 to 65535."),
                                    MessageBox::kNoIcon, kProgramTitle);
        return;
    }
    ServerPort = *port;
    ResponseText.clear();
    WI_AnswerCut = false;
    HostResponse->setText(QString());
    const std::optional<QByteArray> server = asciiHostName(ServerName);
    WI_Chain.start({server ? QString::fromLatin1(*server) : ServerName, quint16(ServerPort)});
    WI_TypedAddress.clear();
    WI_Connect();
}

void Form1::WI_Connect()
{
    closeConnectionIfOpen();
    // A server name no host can have goes as typed: the connection never comes, as for any unknown name.
    const std::optional<QByteArray> server = asciiHostName(ServerName);
    Winsock1->setRemoteHost(server ? QString::fromLatin1(*server) : ServerName);
    Winsock1->setRemotePort(ServerPort);
    Winsock1->setAddressFilter({});   // the typed server: wherever the user asked
    Timer1->setInterval(kTimeOutMs);
    Timer1->setEnabled(true);
    Winsock1->Connect();
}

void Form1::Winsock1_Connect()
{
    if (WI_Chain.referrals() == 0)
        WI_TypedAddress = Winsock1->peerAddress();
    WI_SendQuery();
}

void Form1::WI_SendQuery()
{
    const QString query = WI_Chain.referrals() == 0 ? QueryText : whois::referralQuery(WI_Chain.current().host, QueryText);
    Winsock1->SendData(whois::queryLine(query));
}

void Form1::Winsock1_DataArrival(qint32 /*bytesTotal*/)
{
    QByteArray data;
    Winsock1->GetData(data);
    ResponseText += data;
    const qsizetype cap = WI_Chain.referrals() == 0 ? whois::kAnswerCap : whois::kReferredAnswerCap;
    if (ResponseText.size() > cap) {
        // A runaway answer: stop reading and show what fits, as if the server had closed.
        ResponseText.truncate(whois::answerCut(ResponseText, cap));
        WI_AnswerCut = true;
        Winsock1_Close();
        return;
    }
    // The typed server's answer is laid out while the rest arrives, line ends as they will be
    // shown, so it shows as soon as the server closes. (A referred server's joins the chain's text.)
    if (WI_Chain.referrals() == 0) {
        whois::WI_AddCR(data);
        HostResponse->layOutAhead(data);
    }
}

void Form1::Winsock1_Close()
{
    Timer1->setEnabled(false);
    closeConnectionIfOpen();
    WI_AddCR();
    // Shown from the very bytes: a large answer is laid out a slice at a time, never copied.
    if (WI_Chain.referrals() == 0)
        HostResponse->setText(ResponseText, whois::answerEncoding(ResponseText),
                              WI_AnswerCut ? whois::answerCutNote() : QString());
    WI_FollowReferral();
}

void Form1::WI_FollowReferral()
{
    if (!WI_FollowReferrals->isChecked() && WI_Chain.referrals() == 0) {
        whoisIdle();
        return;
    }
    const whois::ReferralChain::Step step = WI_Chain.afterAnswer(ResponseText, WI_AnswerCut);
    if (step.textChanged)
        WI_ShowChain();
    if (step.next)
        WI_ConnectReferral(*step.next);
    else
        whoisIdle();
}

void Form1::WI_ConnectReferral(const whois::Referral& server)
{
    closeConnectionIfOpen();
    ResponseText.clear();
    WI_AnswerCut = false;
    WI_Refusal = whois::Refusal::None;
    Winsock1->setRemoteHost(server.host);
    Winsock1->setRemotePort(server.port);
    // Checked on each address the name resolves to, before anything is sent there.
    Winsock1->setAddressFilter([this](const QHostAddress& address) {
        WI_Refusal = whois::refuseAddress(address, WI_TypedAddress);
        return WI_Refusal == whois::Refusal::None;
    });
    Timer1->setInterval(kTimeOutMs);
    Timer1->setEnabled(true);
    Winsock1->Connect();
}

void Form1::Winsock1_Failed(TcpControl::Failure why)
{
    // The typed server's failures end in the time-out, as they always have.
    if (WI_Chain.referrals() == 0)
        return;
    Timer1->setEnabled(false);
    closeConnectionIfOpen();
    using F = TcpControl::Failure;
    WI_Chain.failed(why == F::NoAddress ? whois::HopFailure::NoAddress
                    : why == F::Filtered ? whois::HopFailure::Refused
                                         : whois::HopFailure::Unreachable, WI_Refusal);
    WI_ShowChain();
    whoisIdle();
}

void Form1::WI_ShowChain()
{
    HostResponse->setText(WI_Chain.text(), QStringConverter::Utf8);
}

void Form1::Timer1_Timer()
{
    Timer1->setEnabled(false);
    closeConnectionIfOpen();
    if (WI_Chain.referrals() > 0) {
        // What came before stays; the referred server's part answer goes, as the first one's would.
        WI_Chain.failed(whois::HopFailure::TimedOut);
        WI_ShowChain();
    } else {
        HostResponse->setText(
            QStringLiteral("For some reason we did not get a response back from the whois server within 30 secs."));
    }
    whoisIdle();
}

void Form1::WI_AddCR()
{
    whois::WI_AddCR(ResponseText);
}

void Form1::closeConnectionIfOpen()
{
    if (Winsock1->State() != TcpControl::kClosed)
        Winsock1->Close();
}

void Form1::whoisIdle()
{
    Command1->setEnabled(true);
    m_platform.busyPointer->setBusy(false);
}
