// DNS Lookup page.
#include "Form1.h"

#include "AsciiHost.h"
#include "Label.h"
#include "MultiLineTextBox.h"
#include "dns/HostEntry.h"
#include "icmp/IcmpControl.h"
#include "platform/Resolver.h"
#include "platform/SocketsLayer.h"

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
        const auto word = [&m](int shift) { return qint16(quint16(quint64(m.lParam) >> shift)); };
        // Only the newest lookup is shown; an older one that succeeded still releases its start-up.
        if (qint32(m.wParam) != AsyncHandle) {
            if (word(16) == 0)
                m_platform.resolver->WSACleanup();
            return;
        }
        ReceiveWindow_MouseUp(0, 0, float(word(0)), float(word(16)));
    });
}

void Form1::DoLookup_Click()
{
    if (refusedWithoutConnection())
        return;
    // The check only chooses between the warning and the caption: the lookup goes ahead either way.
    checkHost(DNSHost, m_lookupCheck, [this](const QString& host, const HostCheck& answer) {
        if (answer.found) {
            axICMP1->setHostAddress(host);
            lblCaptionDNS->setCaption(QStringLiteral("Looking up ") + axICMP1->HostAddress());
        }
        HostResponse->setVisible(true);
        HostResponse->setText(QString());
        if (m_platform.resolver->WSAStartup(sockets_layer::kVersion11, WsaData) != 0)
            return;
        AsyncHandle = WSAAsyncGetHostByNameAlias(ReceiveWindow, kLookupDoneMessage, host);
        HostResponse->appendText(retCodeLine(AsyncHandle));
    });
}

qint32 Form1::WSAAsyncGetHostByNameAlias(QObject* hWnd, qint16 wMsg, const QString& Host)
{
    Resolver& resolver = *m_platform.resolver;
    // A text no host can have goes as typed: the resolver finds no host for it without asking.
    const QByteArray host = asciiHostName(Host).value_or(Host.toUtf8());
    const quint32 address = inet_addr(host);
    const auto msg = quint32(qint32(wMsg));
    if (address != INADDR_NONE) {
        const QByteArray bytes(reinterpret_cast<const char*>(&address), kAddressLength);
        return resolver.WSAAsyncGetHostByAddr(hWnd, msg, bytes, kAddressLength, kAddressType, HostEntBuf.data(),
                                              int(HostEntBuf.size()));
    }
    // An IPv6 address typed is looked up by address too, as a dotted one is.
    if (const QByteArray v6 = inet6Address(host); !v6.isEmpty())
        return resolver.WSAAsyncGetHostByAddr(hWnd, msg, v6, int(v6.size()), AF_INET6, HostEntBuf.data(),
                                              int(HostEntBuf.size()));
    return resolver.WSAAsyncGetHostByName(hWnd, msg, host, HostEntBuf.data(), int(HostEntBuf.size()));
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
