#pragma once
// Stand-ins for the outside world: each does nothing real, remembers what it was asked and
// answers as the test sets it.
#include "icmp/IcmpControl.h"
#include "platform/Controls.h"
#include "platform/Desktop.h"
#include "platform/HostEntPack.h"
#include "platform/InterfaceList.h"
#include "platform/Resolver.h"
#include "platform/TxtLookup.h"
#include "platform/ui/Dialogs.h"

#include <QHash>
#include <QPointer>
#include <QSet>
#include <QStringList>
#include <QTest>
#include <QtEndian>

#include <net/if.h>

#include <algorithm>
#include <functional>
#include <vector>

// Answers every message box at once. `onShow` runs while the box would be on screen, so a
// test can act "behind" a modal box.
struct FakeMessageBox final : MessageBox {
    struct Shown { QString prompt; int flags; QString title; };
    void show(QWidget*, const QString& prompt, int flags, const QString& title) override
    {
        shown.push_back({prompt, flags, title});
        if (onShow)
            onShow(shown.back());
    }
    std::vector<Shown> shown;
    std::function<void(const Shown&)> onShow;
};

struct FakeBusyPointer final : BusyPointer {
    void setBusy(bool b) override { busy = b; }
    bool isBusy() const override { return busy; }
    bool busy = false;
};

// A save dialog answered with `answer` (empty: cancelled).
struct FakeFileDialog final : FileDialog {
    QString saveFileName(QWidget*, const QString&, const QString& suggested) override { return asked << suggested, answer; }
    QString answer;
    QStringList asked;
};

struct FakeShell final : Shell {
    qint32 open(qint64, const QString& path) override { return opened << path, status; }
    QStringList opened;
    qint32 status = kOpened;
};

// Remembers every call as "owner file command data". With `presenceMs`, the presence test runs
// the event loop that long, as the desktop's does.
struct FakeHelpViewer final : HelpViewer {
    bool isInstalled() override { return QTest::qWait(presenceMs), installed; }
    bool takesTopics() const override { return true; }
    qint32 show(qint64 owner, const QString& file, int command, const QString& data) override
    {
        calls << QStringLiteral("%1 %2 %3 %4").arg(QString::number(owner), file, QString::number(command), data);
        return handle;
    }
    bool installed = false;
    int presenceMs = 0;
    qint32 handle = 7;
    QStringList calls;
};

struct FakeInterfaceList final : InterfaceList {
    std::vector<NetInterface> interfaces() const override { return list; }
    QString defaultRouteInterface(bool) const override { return {}; }
    QString hostName() const override { return host; }

    static NetInterface loopback() { return {QStringLiteral("lo"), IFF_UP | IFF_RUNNING | IFF_LOOPBACK, 0x7f000001u, {}}; }
    static NetInterface ethernet(const QString& name, quint32 v4) { return {name, IFF_UP | IFF_RUNNING | IFF_BROADCAST, v4, {}}; }
    static NetInterface dialUp(const QString& name, std::optional<quint32> v4, bool running = true)
    {
        return {name, IFF_UP | IFF_POINTOPOINT | (running ? unsigned(IFF_RUNNING) : 0u), v4, {}};
    }
    std::vector<NetInterface> list{loopback()};
    QString host = QStringLiteral("alpha");
};

// An ICMP control whose events the test raises by hand.
class FakeIcmpControl final : public IcmpControl {
    Q_OBJECT
public:
    using IcmpControl::IcmpControl;
    QString HostAddress() const override { return hostAddress; }
    void setHostAddress(const QString& host) override { hostAddress = host, target.clear(); }
    void setTargetAddress(const QHostAddress& address) override { target = address; }
    qint16 CharsPerPacket() const override { return 32; }
    QString LocalIP() const override { return localIp; }
    QString LocalHostName() const override { return QStringLiteral("alpha"); }
    void Ping() override { ++pings; }
    void Trace() override { ++traces; }
    // Raises TraceData for hop `hop` and returns the Cancel the window handed back.
    Bool16 traceData(const QString& ip, const QString& name, const QString& time, const QString& what, const QString& hop)
    {
        Bool16 cancel = kFalse16;
        return emit TraceData(ip, name, time, what, 0, hop, &cancel), cancel;
    }
    QString hostAddress, localIp = QStringLiteral("198.18.0.5");
    QHostAddress target;
    int pings = 0, traces = 0;
};

// A TCP connection that only records the attempt: it never connects.
class FakeTcpControl final : public TcpControl {
    Q_OBJECT
public:
    using TcpControl::TcpControl;
    qint16 State() const override { return state; }
    void Close() override { ++closes, state = kClosed; }
    void setRemoteHost(const QString& host) override { remoteHost = host; }
    void setRemotePort(qint32 port) override { remotePort = port; }
    void Connect() override { ++connects, state = kConnecting; }
    void SendData(const QByteArray& data) override { sent += data; }
    void GetData(QByteArray& data) override { data.clear(); }
    qint16 state = kClosed;
    int closes = 0, connects = 0;
    qint32 remotePort = 0;
    QString remoteHost;
    QByteArray sent;
};

// A timer that ticks only when the test fires it, and then only as the real one would.
class FakeTimer final : public Timer {
    Q_OBJECT
public:
    using Timer::Timer;
    void setInterval(int ms) override { ms_ = ms; }
    int interval() const override { return ms_; }
    void setEnabled(bool enabled) override { enabled_ = enabled; }
    bool isEnabled() const override { return enabled_; }
    void fire() { enabled_ && ms_ > 0 ? emit tick() : void(); }
    int ms_ = 0;
    bool enabled_ = false;
};

// The system resolver by rule. Host checks: names resolve unless listed in `unknown` (an address
// written out to itself, a name to 198.18.0.99), answered at once or, while `holdChecks` is set,
// when the test calls completeChecks(). The sockets
// layer starts unless `startupError` is set. Lookups (handles 4001, 4002, …; 0 with `refuse`)
// wait for complete(handle), in any order, and answer with the entry for their key (the name
// or the address as text) in `entries`, else "host not found".
struct FakeResolver final : Resolver {
    struct Request { qint32 handle; QByteArray key; QPointer<QObject> hWnd; quint32 wMsg; char* buf; int buflen; };

    void checkHost(const QByteArray& host, QObject* context, std::function<void(const HostCheck&)> done) override
    {
        checked << host;
        const QHostAddress written(QString::fromUtf8(host));
        const HostCheck answer{!unknown.contains(host), written.isNull() ? QHostAddress(0xC6120063) : written};
        held.push_back([context = QPointer(context), done, answer] {
            if (context)
                done(answer.found ? answer : HostCheck{});
        });
        if (!holdChecks)
            completeChecks();
    }
    void completeChecks() { std::ranges::for_each(std::exchange(held, {}), [](const auto& f) { f(); }); }
    int WSAStartup(quint16, WSADATA& data) override { return data.wVersion = sockets_layer::kVersion11, startupError ? startupError : (++startups, 0); }
    int WSACleanup() override { return ++cleanups, 0; }
    qint32 WSAAsyncGetHostByName(QObject* hWnd, quint32 wMsg, const QByteArray& name, char* buf, int len) override
    {
        return request({0, name, hWnd, wMsg, buf, len});
    }
    qint32 WSAAsyncGetHostByAddr(QObject* hWnd, quint32 wMsg, const QByteArray& addr, int len, int, char* buf,
                                 int buflen) override
    {
        const QByteArray bytes = addr.left(len);
        const QHostAddress address = len == 16 ? QHostAddress(reinterpret_cast<const quint8*>(bytes.data()))
                                               : QHostAddress(qFromBigEndian<quint32>(bytes.data()));
        return request({0, address.toString().toUtf8(), hWnd, wMsg, buf, buflen});
    }
    // Finishes a request in flight by the rules above; false when it is not in flight.
    bool complete(qint32 handle)
    {
        const auto r = std::ranges::find(requests, handle, &Request::handle);
        if (r == requests.end())
            return false;
        r->handle = -handle;
        QByteArray entry(qMax(r->buflen, 0), '\0');
        const PackResult packed = entries.contains(r->key)
            ? packHostEntry(entries.value(r->key), std::span<char>(entry.data(), entry.size()))
            : PackResult{WSAHOST_NOT_FOUND, 0};
        completeLookup(r->hWnd.data(), r->wMsg, handle, r->buf, r->buflen, entry, packed.error,
                       quint16(qMin<quint32>(packed.length, 0xFFFF)));
        return true;
    }
    qint32 request(Request r) { return refuse ? 0 : (r.handle = 4001 + qint32(requests.size()), requests.push_back(r), r.handle); }

    QSet<QByteArray> unknown;
    QList<QByteArray> checked;
    bool holdChecks = false, refuse = false;
    std::vector<std::function<void()>> held;
    int startupError = 0, startups = 0, cleanups = 0;
    QHash<QByteArray, HostEntry> entries;
    std::vector<Request> requests;   // every request that started, in order; done ones' handles negated
};

// TXT lookups held until the test answers them: answer(i, texts) finishes the i-th asked (nothing:
// the resolver failed); one never answered stands for a lost query.
struct FakeTxtLookup final : TxtLookup {
    struct Asked { QString name; QPointer<QObject> context; std::function<void(std::optional<QByteArrayList>)> done; };
    void textsOf(const QString& name, QObject* context, std::function<void(std::optional<QByteArrayList>)> done) override
    {
        asked.push_back({name, context, std::move(done)});
    }
    void answer(size_t i, const std::optional<QByteArrayList>& texts)
    {
        if (i < asked.size() && asked[i].context && asked[i].done)
            std::exchange(asked[i].done, nullptr)(texts);
    }
    QStringList names() const
    {
        QStringList out;
        for (const Asked& a : asked)
            out << a.name;
        return out;
    }
    std::vector<Asked> asked;
};
