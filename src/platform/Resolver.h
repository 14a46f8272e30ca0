#pragma once
#include "SocketsLayer.h"

#include <QByteArray>

#include <functional>

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
