// DNS Lookup page.
#include "Form1.h"

#include "Label.h"
#include "MultiLineTextBox.h"
#include "dns/HostEntDecode.h"
#include "dns/HostEntText.h"
#include "platform/IcmpControl.h"
#include "platform/Resolver.h"
#include "platform/WindowMessage.h"

#include <QLineEdit>
#include <QPushButton>

#include <arpa/inet.h>

namespace {

constexpr qint16 kLookupDoneMessage = WM_LBUTTONUP;
constexpr int kAddressLength = 4;
constexpr int kAddressType = AF_INET;

} // namespace

void Form1::wireDns()
{
    connect(DoLookup, &QPushButton::clicked, this, &Form1::DoLookup_Click);
    // The hidden box turns a completion posted to it into its mouse-up event: the low and
    // high words of the second parameter become X and Y, signed, at a scale of 1.
    onWindowMessage(ReceiveWindow, [this](const WindowMessage& m) {
        if (m.msg != WM_LBUTTONUP)
            return;
        const auto word = [&m](int shift) { return float(qint16(quint16(quint64(m.lParam) >> shift))); };
        ReceiveWindow_MouseUp(0, 0, word(0), word(16));
    });
}

void Form1::DoLookup_Click()
{
    if (module.IsConnected != kTrue16) {
        showNotConnected();
        return;
    }
    // Only chooses between the warning and the caption: the lookup goes ahead either way.
    if (checkHost(DNSHost)) {
        axICMP1->setHostAddress(DNSHost->text());
        lblCaptionDNS->setCaption(QStringLiteral("Looking up ") + axICMP1->HostAddress());
    }

    HostResponse->setVisible(true);
    HostResponse->setText(QString());
    if (m_platform.resolver->WSAStartup(sockets_layer::kVersion11, WsaData) != 0)
        return;
    AsyncHandle = WSAAsyncGetHostByNameAlias(ReceiveWindow, kLookupDoneMessage, DNSHost->text());
    HostResponse->appendText(retCodeLine(AsyncHandle));
}

qint32 Form1::WSAAsyncGetHostByNameAlias(QObject* hWnd, qint16 wMsg, const QString& Host)
{
    Resolver& resolver = *m_platform.resolver;
    const QByteArray host = Host.toUtf8();
    const quint32 address = inet_addr(host);
    const auto msg = quint32(qint32(wMsg));
    if (address == INADDR_NONE)
        return resolver.WSAAsyncGetHostByName(hWnd, msg, host, HostEntBuf.data(), int(HostEntBuf.size()));
    const QByteArray bytes(reinterpret_cast<const char*>(&address), kAddressLength);
    return resolver.WSAAsyncGetHostByAddr(hWnd, msg, bytes, kAddressLength, kAddressType, HostEntBuf.data(),
                                          int(HostEntBuf.size()));
}

void Form1::ReceiveWindow_MouseUp(qint16 /*Button*/, qint16 /*Shift*/, float /*X*/, float Y)
{
    if (Y != 0) {
        HostResponse->setText(asyncErrorText());
        return;
    }
    const DecodedHostEntry entry = decodeHostEntry(QByteArrayView(HostEntBuf.data(), qsizetype(HostEntBuf.size())));
    // The pieces go in at once: the box lays its text out again on every change.
    HostResponse->appendText(hostEntryPieces(entry).join(QString()));
    m_platform.resolver->WSACleanup();
}
