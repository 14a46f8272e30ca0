#pragma once
#include "SocketsLayer.h"

#include "HostEntPack.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QHostAddress>
#include <QPointer>

#include <functional>
#include <memory>

class QObject;

// What a host check found: whether the text names a host, and where a probe to it goes (its first
// IPv4 address, else its first IPv6 one, with its interface where it has one; null when unknown).
struct HostCheck {
    bool found = false;
    QHostAddress address;
};

// The system resolver (hosts file, DNS, whatever nsswitch says), and the sockets layer
// its lookups belong to. Every call is made on the UI thread.
class Resolver {
public:
    virtual ~Resolver() = default;
    // Does `host` name a host with an IPv4 or an IPv6 address, and which? Asked off the UI thread,
    // as a resolver may take seconds; `done` gets the answer on the thread of `context`, never
    // after `context` is destroyed.
    virtual void checkHost(const QByteArray& host, QObject* context, std::function<void(const HostCheck&)> done) = 0;

    // 0 when the sockets layer is started, else an error number. Each start wants one cleanup.
    virtual int WSAStartup(quint16 versionRequested, WSADATA& data) = 0;
    virtual int WSACleanup() = 0;

    // Background lookups. Each returns at once with a positive handle, new for each request,
    // or 0 when the request cannot start. When the lookup has ended, the host entry (in the
    // packed host-entry layout) is in `buf` and then `wMsg` is sent to `hWnd`, with the handle
    // as first parameter and the error number (0 on success) and length in the high and low
    // 16 bits of the second; both happen on the UI thread, later than the call. A request
    // whose hWnd has been destroyed ends silently and never touches `buf`: the buffer must
    // live as long as hWnd. Nothing cancels a request.
    virtual qint32 WSAAsyncGetHostByName(QObject* hWnd, quint32 wMsg, const QByteArray& name, char* buf,
                                         int buflen) = 0;
    // `addr` holds `len` bytes of an address of family `type`, in network order.
    virtual qint32 WSAAsyncGetHostByAddr(QObject* hWnd, quint32 wMsg, const QByteArray& addr, int len, int type,
                                         char* buf, int buflen) = 0;
};

// The system resolver through glibc, always off the UI thread: an address written out is read with
// getaddrinfo, names are looked up with gethostbyname_r and addresses with gethostbyaddr_r, each
// request packing its entry into a buffer of its own. A name's check answers the next lookup of
// that name too, found or not: a dead name server costs the user one time-out, not two.
class SystemResolver final : public Resolver {
public:
    SystemResolver();
    ~SystemResolver() override;

    void checkHost(const QByteArray& host, QObject* context, std::function<void(const HostCheck&)> done) override;
    int WSAStartup(quint16 versionRequested, WSADATA& data) override;
    int WSACleanup() override;
    qint32 WSAAsyncGetHostByName(QObject* hWnd, quint32 wMsg, const QByteArray& name, char* buf,
                                 int buflen) override;
    qint32 WSAAsyncGetHostByAddr(QObject* hWnd, quint32 wMsg, const QByteArray& addr, int len, int type, char* buf,
                                 int buflen) override;

    // Requests started and not yet completed.
    int inFlight() const { return int(m_pending.size()); }

private:
    struct Query {
        bool byAddress = false;
        QByteArray text;   // the name, or the address bytes
        int addrType = 0;
    };
    struct Answer {
        QByteArray entry;  // the packed entry, as long as the caller's buffer
        quint16 error = 0;
        quint16 length = 0;
    };
    // What glibc said of a name or an address, before it is packed.
    struct Found {
        HostEntry entry;
        quint16 error = 0;    // 0 when found
        bool tooBig = false;  // found, but glibc's entry outgrew any buffer
    };
    // One lookup, on the calling thread: what a worker does for a request.
    static Found lookUp(const Query& query);
    static Answer pack(const Found& found, int buflen);

    struct Caller {
        QPointer<QObject> hWnd;
        quint32 wMsg = 0;
        char* buf = nullptr;
        int buflen = 0;
    };
    qint32 start(QObject* hWnd, quint32 wMsg, Query query, char* buf, int buflen);
    void finish(qint32 handle, const Answer& answer);

    // Checks' answers by name, kept until the lookup that follows them takes them.
    struct Checked {
        Found found;
        QElapsedTimer age;
    };
    QHash<QByteArray, Checked> m_checked;
    QHash<qint32, Caller> m_pending;
    qint32 m_lastHandle = 0;
    // Answers come back through this UI-thread object; destroyed first, it drops the late ones.
    std::unique_ptr<QObject> m_receiver;
};
