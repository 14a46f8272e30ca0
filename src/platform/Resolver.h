#pragma once
#include "SocketsLayer.h"

#include <QByteArray>
#include <QHash>
#include <QPointer>

#include <functional>
#include <memory>

class QObject;

// The system resolver (hosts file, DNS, whatever nsswitch says), and the sockets layer
// its lookups belong to. Every call is made on the UI thread.
class Resolver {
public:
    virtual ~Resolver() = default;
    // Does `host` name a host with an IPv4 or an IPv6 address? Asked off the UI thread, as a
    // resolver may take seconds; `done` gets the answer on the thread of `context`, never
    // after `context` is destroyed.
    virtual void checkHost(const QByteArray& host, QObject* context, std::function<void(bool found)> done) = 0;

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

// The system resolver through glibc, always off the UI thread: the host check with
// getaddrinfo, the background lookups with gethostbyname_r / gethostbyaddr_r, each request
// packing its entry into a buffer of its own.
class SystemResolver final : public Resolver {
public:
    SystemResolver();
    ~SystemResolver() override;

    void checkHost(const QByteArray& host, QObject* context, std::function<void(bool found)> done) override;
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
    // One lookup, on the calling thread: what a worker does for a request.
    static Answer lookUp(const Query& query, int buflen);

    struct Caller {
        QPointer<QObject> hWnd;
        quint32 wMsg = 0;
        char* buf = nullptr;
        int buflen = 0;
    };
    qint32 start(QObject* hWnd, quint32 wMsg, Query query, char* buf, int buflen);
    void finish(qint32 handle, const Answer& answer);

    QHash<qint32, Caller> m_pending;
    qint32 m_lastHandle = 0;
    // Answers come back through this UI-thread object; destroyed first, it drops the late ones.
    std::unique_ptr<QObject> m_receiver;
};
