#pragma once
#include "dns/HostEntLayout.h"
#include "dns/HostEntPack.h"
#include "platform/Resolver.h"
#include "platform/WindowMessage.h"

#include <QHash>
#include <QPointer>
#include <QSet>

#include <algorithm>
#include <functional>
#include <vector>

// The system resolver by rule.
// - Host check: names resolve unless listed in `unknown`; answered at once, or held until the
//   test calls completeChecks() while `holdChecks` is set.
// - Sockets layer: starts unless `startupError` is set; counts starts and cleanups.
// - Background lookups (handles after `lastHandle`, or 0 with `refuse`) stay in flight until
//   the test calls complete(handle), in any order; they answer with the entry for their key
//   (the name, or the address bytes) in `entries`, else "host not found".
class FakeResolver final : public Resolver {
public:
    struct Request {
        qint32 handle;
        QByteArray key;
        QPointer<QObject> hWnd;
        quint32 wMsg;
        char* buf;
        int buflen;
        int addrType = 0;   // a lookup by address: the address family of `key`
        bool done = false;
    };

    void checkHost(const QByteArray& host, QObject* context, std::function<void(bool)> done) override
    {
        checked << host;
        heldChecks.push_back([context = QPointer(context), done, found = !unknown.contains(host)] {
            if (context)
                done(found);
        });
        if (!holdChecks)
            completeChecks();
    }
    void completeChecks() { std::ranges::for_each(std::exchange(heldChecks, {}), [](const auto& f) { f(); }); }
    int WSAStartup(quint16, WSADATA& data) override
    {
        if (startupError)
            return startupError;
        data.wVersion = sockets_layer::kVersion11;
        ++startups;
        return 0;
    }
    int WSACleanup() override
    {
        ++cleanups;
        return 0;
    }
    qint32 WSAAsyncGetHostByName(QObject* hWnd, quint32 wMsg, const QByteArray& name, char* buf, int buflen) override
    {
        return request({0, name, hWnd, wMsg, buf, buflen, 0});
    }
    qint32 WSAAsyncGetHostByAddr(QObject* hWnd, quint32 wMsg, const QByteArray& addr, int len, int type, char* buf,
                                 int buflen) override
    {
        return request({0, addr.left(len), hWnd, wMsg, buf, buflen, type});
    }

    // Finishes a request in flight by its rule; false when it is not in flight.
    bool complete(qint32 handle)
    {
        for (Request& r : requests) {
            if (r.handle != handle || r.done)
                continue;
            r.done = true;
            QByteArray entry(qMax(r.buflen, 0), '\0');
            const PackResult packed = entries.contains(r.key)
                ? packHostEntry(entries.value(r.key), std::span<char>(entry.data(), entry.size()))
                : PackResult{WSAHOST_NOT_FOUND, 0};
            completeLookup(r.hWnd.data(), r.wMsg, r.handle, r.buf, r.buflen, entry, packed.error,
                           quint16(qMin<quint32>(packed.length, 0xFFFF)));
            return true;
        }
        return false;
    }

    QSet<QByteArray> unknown;
    QList<QByteArray> checked;
    bool holdChecks = false;
    std::vector<std::function<void()>> heldChecks;
    int startupError = 0;
    int startups = 0;
    int cleanups = 0;
    QHash<QByteArray, HostEntry> entries;
    bool refuse = false;
    qint32 lastHandle = 4000;
    std::vector<Request> requests;   // every request that started, in order

private:
    qint32 request(Request r)
    {
        if (refuse)
            return 0;
        r.handle = ++lastHandle;
        requests.push_back(r);
        return r.handle;
    }
};
