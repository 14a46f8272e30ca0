// Whois page: one query line to a whois server over TCP, the whole answer shown when
// the server closes, or a time-out message after 30 seconds.
#include "Form1.h"

#include "AsciiHost.h"
#include "MultiLineTextBox.h"
#include "platform/ui/Dialogs.h"
#include "platform/Controls.h"
#include "whois/Whois.h"

#include <QLineEdit>
#include <QPushButton>

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
    WI_Connect();
}

void Form1::WI_Connect()
{
    closeConnectionIfOpen();
    // A server name no host can have goes as typed: the connection never comes, as for any unknown name.
    const std::optional<QByteArray> server = asciiHostName(ServerName);
    Winsock1->setRemoteHost(server ? QString::fromLatin1(*server) : ServerName);
    Winsock1->setRemotePort(ServerPort);
    Timer1->setInterval(kTimeOutMs);
    Timer1->setEnabled(true);
    Winsock1->Connect();
}

void Form1::Winsock1_Connect()
{
    WI_SendQuery();
}

void Form1::WI_SendQuery()
{
    Winsock1->SendData(whois::queryLine(QueryText));
}

void Form1::Winsock1_DataArrival(qint32 /*bytesTotal*/)
{
    QByteArray data;
    Winsock1->GetData(data);
    ResponseText += data;
    if (ResponseText.size() <= whois::kAnswerCap) {
        // Laid out while the rest arrives, line ends as they will be shown, so the answer shows
        // as soon as the server closes.
        whois::WI_AddCR(data);
        HostResponse->layOutAhead(data);
    } else {
        // A runaway answer: stop reading and show what fits, as if the server had closed.
        ResponseText.truncate(whois::answerCut(ResponseText));
        WI_AnswerCut = true;
        Winsock1_Close();
    }
}

void Form1::Winsock1_Close()
{
    Timer1->setEnabled(false);
    closeConnectionIfOpen();
    WI_AddCR();
    // Shown from the very bytes: a large answer is laid out a slice at a time, never copied.
    HostResponse->setText(ResponseText, whois::answerEncoding(ResponseText),
                          WI_AnswerCut ? whois::answerCutNote() : QString());
    whoisIdle();
}

void Form1::Timer1_Timer()
{
    Timer1->setEnabled(false);
    closeConnectionIfOpen();
    HostResponse->setText(
        QStringLiteral("For some reason we did not get a response back from the whois server within 30 secs."));
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
