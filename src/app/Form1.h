#pragma once
#include "Module1.h"
#include "platform/Bool16.h"
#include "platform/Platform.h"
#include "dns/HostEntLayout.h"
#include "platform/SocketsLayer.h"

#include <QWidget>

#include <array>
#include <functional>

class IcmpControl;
class Label;
class MultiLineTextBox;
class QLineEdit;
class QPushButton;
class QTabWidget;
class ResultsTable;
class TcpControl;
class Timer;
struct ControlSpec;

// The main window. Its controls are built from the control table; its handlers carry
// the names of the controls and events they serve. Each tool's handlers live in a
// file of their own (Form1_Icmp.cpp, Form1_Dns.cpp, Form1_Whois.cpp, Form1_Help.cpp).
class Form1 final : public QWidget {
    Q_OBJECT
public:
    explicit Form1(const Platform& platform, QWidget* parent = nullptr);
    ~Form1() override;

    // Start-up, page switch, shut-down.
    void Form_Load();
    void Form_Unload(qint16& Cancel);
    void Form_Terminate() {}
    void SSTab1_Click(qint16 previoustab);
    void showCentred();
    // Brings page `page` to the front; with `start`, fills its box with `host` (and the whois
    // server and port where given) and presses its button, as the user would.
    void openPage(int page, const QString& host, bool start, const QString& server = {}, const QString& port = {});

    // Enter presses the focused button, else the enabled default button, else nothing.
    QPushButton* defaultButton() const { return m_defaultButton; }
    bool KeyPreview = false;

    Module1 module;

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

    // --- Ping and Traceroute (Form1_Icmp.cpp) ---
    Bool16 CancelRequested = kFalse16;
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

    // --- DNS Lookup (Form1_Dns.cpp) ---
    // Where a completed lookup's host entry lands before ReceiveWindow_MouseUp reads it.
    std::array<char, hostent_layout::kBufferSize> HostEntBuf{};
    qint32 AsyncHandle = 0;
    WSADATA WsaData;
    void DoLookup_Click();
    // The completion goes to hWnd as message wMsg; a dotted address is looked up by address.
    qint32 WSAAsyncGetHostByNameAlias(QObject* hWnd, qint16 wMsg, const QString& Host);
    void ReceiveWindow_MouseUp(qint16 Button, qint16 Shift, float X, float Y);

    // --- Whois (Form1_Whois.cpp) ---
    QString QueryText;
    QString ServerName;
    qint32 ServerPort = 0;
    // The answer's bytes as they arrive; turned into text once, when the server has closed.
    QByteArray ResponseText;
    // The answer passed the cap and was cut; said below what is shown.
    bool WI_AnswerCut = false;
    void Command1_Click();
    void WI_Connect();
    void Winsock1_Connect();
    void WI_SendQuery();
    void Winsock1_DataArrival(qint32 bytesTotal);
    void Winsock1_Close();
    void Timer1_Timer();
    void WI_AddCR();

    // --- Help (Form1_Help.cpp) ---
    void Form_KeyUp(qint16& KeyCode, qint16& Shift);
    // Opens the document in the desktop's application for it; the shell's status (> 32: opened).
    qint32 ShellOpen(QWidget* owner, const QString& path);
    // Where the help files are looked for: the program's own folder, unless a test moves it.
    QString programFolder;
    // An F1 is being dispatched (its waits on the desktop run the event loop).
    bool helpInProgress = false;

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildControls();
    QWidget* buildControl(const ControlSpec& control);
    void applyTabOrder();
    void showPageControls(int page);
    void setDefaultButton(QPushButton* button);
    bool pressEnter();

    // Each tool connects its own controls and events.
    void wireIcmp();
    void wireDns();
    void wireWhois();
    void wireHelp();

    // Messages shared by the tools.
    void showNotConnected();
    void showInvalidDomain(const QString& host);
    // Cuts a trailing slash from the box's text, in place.
    static void cutTrailingSlash(QLineEdit* box);
    // Cuts the box's trailing slash, then asks the resolver, off the UI thread, whether its text
    // names a host; when it does not, says so in a message box. `then` goes on with the text
    // checked and the answer, unless a newer check of the same page (`generation`) came since.
    void checkHost(QLineEdit* box, quint64& generation, std::function<void(const QString& host, bool found)> then);
    quint64 m_pingCheck = 0;
    quint64 m_traceCheck = 0;
    quint64 m_lookupCheck = 0;

    Platform m_platform;
    QPushButton* m_defaultButton = nullptr;
    int m_currentPage = 0;
    std::vector<std::pair<QWidget*, int>> m_pageControls;   // control, page
};
