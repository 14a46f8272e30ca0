#pragma once
#include "ControlTable.h"
#include "Module1.h"
#include "platform/Bool16.h"
#include "Platform.h"
#include "platform/Resolver.h"
#include "platform/Controls.h"
#include "platform/SocketsLayer.h"
#include "whois/ReferralChain.h"

#include <QPointer>
#include <QWidget>

#include <array>
#include <functional>
#include <optional>

class IcmpControl;
class Label;
class MonitorWindow;
class QTreeWidgetItem;
namespace asn {
class AsnLookup;
}
struct HelpPage;
class MultiLineTextBox;
class QLineEdit;
class QPushButton;
class QTabWidget;
class ResultsTable;
class QAction;
class Timer;

// The main window. Its controls are built from the control table (ControlTable.cpp, building
// in Form1_Build.cpp); its handlers carry the names of the controls and events they serve,
// each tool's in a file of its own (Form1_Icmp.cpp, Form1_Dns.cpp, Form1_Whois.cpp,
// Form1_Help.cpp), start-up and shut-down in Form1_Load.cpp, the keyboard in Form1_Keys.cpp.
class Form1 final : public QWidget {
    Q_OBJECT
public:
    explicit Form1(const Platform& platform, QWidget* parent = nullptr);
    ~Form1() override;

    void Form_Load();
    void Form_Terminate() {}
    void showCentred();
    // Brings page `page` to the front; with `start`, fills its box with `host` (and the whois
    // server and port where given) and presses its button, as the user would.
    void openPage(Page page, const QString& host, bool start, const QString& server = {}, const QString& port = {});
    // Opens a path monitor window for `host` as typed, once it is known to name a host; refused
    // like the pages without a connection or with a host that does not resolve.
    void openMonitor(const QString& host);
    // The monitor windows still open.
    QList<MonitorWindow*> monitors() const;
    // The AS lookups of the tables' addresses, kept for the window's life; null without a TXT lookup.
    asn::AsnLookup* asnLookup() const { return m_asn; }

    // Seams for tests: the shared state as start-up, page switches and F1 left it, the button
    // Enter presses, and the folder the help files are looked for in.
    const Module1& shared() const { return module; }
    QPushButton* defaultButton() const { return m_defaultButton; }
    void setProgramFolder(const QString& folder) { programFolder = folder; }
    // Whether a whois query follows the referrals in the answers (on unless turned off, for the session).
    void setFollowReferrals(bool follow);

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    static constexpr qint16 kKeyF1 = 112;
    static const std::array<ControlSpec, 31> kControls;
    template <auto Member>
    static void bind(Form1& form, QWidget* control)
    {
        form.*Member = static_cast<std::remove_reference_t<decltype(form.*Member)>>(control);
    }

    // --- Building the window (Form1_Build.cpp) ---
    void buildControls();
    QWidget* buildControl(const ControlSpec& control);
    void applyTabOrder();
    void showPageControls(int page);

    // --- Start-up, page switch, shut-down (Form1_Load.cpp, Form1.cpp) ---
    void Form_Unload(qint16& Cancel);
    void SSTab1_Click(qint16 previoustab);
    void setDefaultButton(QPushButton* button);

    // --- The keyboard (Form1_Keys.cpp) ---
    bool pressEnter();

    // --- Steps the tools share (Form1.cpp) ---
    // True, after saying so, when start-up found no connection: the tool does nothing more.
    bool refusedWithoutConnection();
    void showInvalidDomain(const QString& host);
    // Cuts a trailing slash from the box's text, in place.
    static void cutTrailingSlash(QLineEdit* box);
    // Cuts the box's trailing slash, then asks the resolver, off the UI thread, whether its text
    // names a host; when it does not, says so in a message box. `then` goes on with the text
    // checked (as typed) and the answer, unless a newer check of the same page (`generation`) came since.
    void checkHost(QLineEdit* box, quint64& generation,
                   std::function<void(const QString& host, const HostCheck& answer)> then);
    // The same for a host not in a box, as typed.
    void checkHostText(const QString& host, quint64& generation,
                       std::function<void(const QString& host, const HostCheck& answer)> then);

    // --- Ping and Traceroute (Form1_Icmp.cpp) ---
    void wireIcmp();
    void cmdPing_Click();
    void cmdCancel_Click();
    void cmdTraceroute_Click();
    void cmdCancelTrace_Click();
    void axICMP1_Error(const QString& Description, Bool16 Fatal);
    void axICMP1_PingData(const QString& RespondingHostIP, const QString& RespondingHostName,
                          const QString& TripTime, const QString& ReturnCodeDescription, qint32 ReturnCode,
                          qint16 DataSize, quint8 TTL);
    void axICMP1_TraceData(const QString& RespondingHostIP, const QString& RespondingHostName,
                           const QString& TripTime, const QString& ReturnCodeDescription, qint32 ReturnCode,
                           const QString& HopNumber, Bool16* Cancel);
    void axICMP1_SequenceComplete();

    // --- AS of each row, Whois This Address (Form1_Asn.cpp) ---
    void wireAsn();
    // Asks for the AS of the row's address and shows what is known in the row's tooltip.
    void showOrigin(QTreeWidgetItem* row);
    void whoisThisAddress();

    // --- Path monitor windows (Form1_Monitor.cpp) ---
    void wireMonitor();
    // Monitors the host in the box of the page in front (Ping or Traceroute).
    void monitorThisHost();
    void closeMonitors();

    // --- DNS Lookup (Form1_Dns.cpp) ---
    void wireDns();
    void DoLookup_Click();
    // The completion goes to hWnd as message wMsg; a dotted address is looked up by address.
    qint32 WSAAsyncGetHostByNameAlias(QObject* hWnd, qint16 wMsg, const QString& Host);
    void ReceiveWindow_MouseUp(qint16 Button, qint16 Shift, float X, float Y);

    // --- Whois (Form1_Whois.cpp) ---
    void wireWhois();
    void Command1_Click();
    void WI_Connect();
    void Winsock1_Connect();
    void WI_SendQuery();
    void Winsock1_DataArrival(qint32 bytesTotal);
    void Winsock1_Close();
    void Timer1_Timer();
    void WI_AddCR();
    // Closes the whois connection unless it is closed already.
    void closeConnectionIfOpen();
    // Back to idle: Do Query enabled, the default pointer.
    void whoisIdle();
    // After an answer: on to the server it refers to, or the end of the query.
    void WI_FollowReferral();
    void WI_ConnectReferral(const whois::Referral& server);
    void Winsock1_Failed(TcpControl::Failure why);
    // The chain's text in the result box, after the first answer.
    void WI_ShowChain();

    // --- Help (Form1_Help.cpp) ---
    void Form_KeyUp(qint16& KeyCode, qint16& Shift);
    // Opens the document in the desktop's application for it; the shell's status (> 32: opened).
    qint32 ShellOpen(QWidget* owner, const QString& path);
    // Shows `page` as F1 does, over `owner`.
    void showHelp(const HelpPage& page, QWidget* owner);

    Platform m_platform;
    Module1 module;
    bool KeyPreview = false;

    // Controls, by their names in the control table.
    QPushButton* cmdPing = nullptr;
    QTabWidget* SSTab1 = nullptr;
    QPushButton* cmdCancel = nullptr;
    QLineEdit* txtLocal = nullptr;
    QLineEdit* txtRemote = nullptr;
    Label* Label2 = nullptr;
    Label* Label1 = nullptr;
    ResultsTable* ListView1 = nullptr;
    Label* lblCaption = nullptr;
    Label* lblCaptionTrace = nullptr;
    QPushButton* DoLookup = nullptr;
    QLineEdit* DNSHost = nullptr;
    MultiLineTextBox* HostResponse = nullptr;
    MultiLineTextBox* ReceiveWindow = nullptr;
    Label* Label5 = nullptr;
    Label* Label6 = nullptr;
    QLineEdit* txtLocalDNS = nullptr;
    Label* lblCaptionDNS = nullptr;
    QPushButton* Command1 = nullptr;
    QLineEdit* Text3 = nullptr;
    QLineEdit* Text2 = nullptr;
    QLineEdit* Text1 = nullptr;
    Label* Label7 = nullptr;
    Label* Label8 = nullptr;
    Label* Label9 = nullptr;
    QPushButton* cmdTraceroute = nullptr;
    QPushButton* cmdCancelTrace = nullptr;
    QLineEdit* txtRemoteTrace = nullptr;
    Label* Label3 = nullptr;
    QLineEdit* txtLocalTrace = nullptr;
    Label* Label4 = nullptr;
    // Controls without a face.
    IcmpControl* axICMP1 = nullptr;
    TcpControl* Winsock1 = nullptr;
    Timer* Timer1 = nullptr;

    // Ping and Traceroute.
    Bool16 CancelRequested = kFalse16;
    // DNS Lookup: where a completed lookup's host entry lands before ReceiveWindow_MouseUp reads it.
    std::array<char, hostent_layout::kBufferSize> HostEntBuf{};
    qint32 AsyncHandle = 0;
    WSADATA WsaData;
    // Whois: the answer's bytes as they arrive, shown once, when the server has closed.
    QString QueryText;
    QString ServerName;
    qint32 ServerPort = 0;
    QByteArray ResponseText;
    bool WI_AnswerCut = false;   // the answer passed the cap and was cut; said below what is shown
    // Referrals: the chain of servers of the running query; the address the typed server had,
    // which says where referrals may go; why the referred server's address was refused.
    whois::ReferralChain WI_Chain;
    QHostAddress WI_TypedAddress;
    whois::Refusal WI_Refusal = whois::Refusal::None;
    QAction* WI_FollowReferrals = nullptr;   // "Follow Referrals" in the result box's menu
    // Help: where the help files are looked for; whether an F1 is being dispatched (its waits on
    // the desktop run the event loop).
    QString programFolder;
    bool helpInProgress = false;

    // The newest host check of each page (the ones before it are dropped).
    quint64 m_pingCheck = 0;
    quint64 m_traceCheck = 0;
    quint64 m_lookupCheck = 0;
    quint64 m_monitorCheck = 0;
    QList<QPointer<MonitorWindow>> m_monitors;
    asn::AsnLookup* m_asn = nullptr;
    QPushButton* m_defaultButton = nullptr;
    int m_currentPage = 0;
    std::vector<std::pair<QWidget*, int>> m_pageControls;   // control, page
};
