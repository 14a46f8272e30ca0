#pragma once
#include "Resolver.h"

#include <QHash>
#include <QPointer>

#include <memory>

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
