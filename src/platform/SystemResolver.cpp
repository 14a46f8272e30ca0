#include "Resolver.h"

#include "HostEntPack.h"
#include "NameLookup.h"
#include "OffThread.h"
#include "SocketsLayer.h"

#include <QUrl>
#include <QtEndian>

#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <optional>
#include <vector>

namespace {

// glibc's scratch space for one entry grows up to this; beyond it no entry fits the buffer anyway.
constexpr size_t kMaxScratch = 1 << 20;

// A check's answer serves the lookup that follows it, even when the user first reads the message.
constexpr qint64 kCheckKeptMs = 60000;

quint16 saturated16(quint32 n)
{
    return quint16(qMin<quint32>(n, 0xFFFF));
}

// Names reach glibc in their ASCII form only; anything else (spaces, line breaks, a NUL, labels
// too long) is no host name, and no name server is asked about it.
bool isHostName(const QByteArray& name)
{
    if (name.isEmpty())
        return true;   // glibc's own answer
    if (std::any_of(name.begin(), name.end(), [](char c) { return c == '\0' || uchar(c) > 0x7F; }))
        return false;
    return !QUrl::toAce(QString::fromLatin1(name)).isEmpty();
}

} // namespace

SystemResolver::SystemResolver()
    : m_receiver(std::make_unique<QObject>())
{
}

// Lookups still running deliver nothing once the receiver has gone.
SystemResolver::~SystemResolver() = default;

void SystemResolver::checkHost(const QByteArray& host, QObject* context, std::function<void(const HostCheck&)> done)
{
    struct Result {
        HostCheck check;
        std::optional<Found> byName;
    };
    const auto work = [host] {
        Result result;
        if (const QList<QHostAddress> written = systemAddressesOf(host, true); !written.isEmpty()) {
            result.check = {true, written.first()};
            return result;
        }
        const Found found = lookUp({false, host, 0});
        result.check.found = found.error == 0 || found.tooBig;
        if (!found.entry.addresses.isEmpty()) {
            const QByteArray& first = found.entry.addresses.first();
            result.check.address = first.size() == 16
                ? QHostAddress(reinterpret_cast<const quint8*>(first.constData()))
                : QHostAddress(qFromBigEndian<quint32>(first.constData()));
        }
        result.byName = found;
        return result;
    };
    // Kept here before the caller hears of it, so the caller's lookup that follows finds it.
    const auto keep = [this, host, context = QPointer(context), done = std::move(done)](const Result& result) {
        if (result.byName) {
            m_checked.removeIf([](const auto& kept) { return kept.value().age.hasExpired(kCheckKeptMs); });
            Checked& kept = m_checked[host];
            kept.found = *result.byName;
            kept.age.start();
        }
        if (context)
            done(result.check);
    };
    runOffThread<Result>(m_receiver.get(), work, keep, Result{});
}

int SystemResolver::WSAStartup(quint16 versionRequested, WSADATA& data)
{
    return sockets_layer::startup(versionRequested, data);
}

int SystemResolver::WSACleanup()
{
    return sockets_layer::cleanup();
}

qint32 SystemResolver::WSAAsyncGetHostByName(QObject* hWnd, quint32 wMsg, const QByteArray& name, char* buf,
                                             int buflen)
{
    return start(hWnd, wMsg, {false, name, 0}, buf, buflen);
}

qint32 SystemResolver::WSAAsyncGetHostByAddr(QObject* hWnd, quint32 wMsg, const QByteArray& addr, int len, int type,
                                             char* buf, int buflen)
{
    if (len < 0 || len > addr.size())
        return 0;
    return start(hWnd, wMsg, {true, addr.left(len), type}, buf, buflen);
}

qint32 SystemResolver::start(QObject* hWnd, quint32 wMsg, Query query, char* buf, int buflen)
{
    if (!hWnd || !buf || buflen <= 0)
        return 0;
    do
        m_lastHandle = m_lastHandle == std::numeric_limits<qint32>::max() ? 1 : m_lastHandle + 1;
    while (m_pending.contains(m_lastHandle));
    const qint32 handle = m_lastHandle;
    m_pending.insert(handle, {hWnd, wMsg, buf, buflen});

    if (!query.byAddress) {
        if (const auto kept = m_checked.find(query.text); kept != m_checked.end()) {
            const bool fresh = !kept->age.hasExpired(kCheckKeptMs);
            const Answer answer = pack(kept->found, buflen);
            m_checked.erase(kept);
            if (fresh) {
                QMetaObject::invokeMethod(m_receiver.get(), [this, handle, answer] { finish(handle, answer); },
                                          Qt::QueuedConnection);
                return handle;
            }
        }
    }
    Answer unavailable;   // no thread for the lookup: the resolver could not take it now
    unavailable.error = WSATRY_AGAIN;
    runOffThread<Answer>(
        m_receiver.get(), [query = std::move(query), buflen] { return pack(lookUp(query), buflen); },
        [this, handle](const Answer& answer) { finish(handle, answer); }, unavailable);
    return handle;
}

void SystemResolver::finish(qint32 handle, const Answer& answer)
{
    const Caller caller = m_pending.take(handle);
    completeLookup(caller.hWnd.data(), caller.wMsg, handle, caller.buf, caller.buflen, answer.entry, answer.error,
                   answer.length);
}

SystemResolver::Found SystemResolver::lookUp(const Query& query)
{
    Found found;
    if (!query.byAddress && !isHostName(query.text)) {
        found.error = WSAHOST_NOT_FOUND;
        return found;
    }

    std::vector<char> scratch(4096);
    hostent h{};
    hostent* result = nullptr;
    int hErrno = 0;
    // One lookup, its scratch space grown as glibc asks; false when the entry would not fit at all.
    const auto run = [&](const auto& call) {
        for (;;) {
            if (call() != ERANGE)
                return true;
            if (scratch.size() >= kMaxScratch)
                return false;
            scratch.resize(scratch.size() * 2);
        }
    };
    const auto byName = [&](int family) {
        return run([&] {
            return ::gethostbyname2_r(query.text.constData(), family, &h, scratch.data(), scratch.size(), &result,
                                      &hErrno);
        });
    };
    bool fits = query.byAddress ? run([&] {
        return ::gethostbyaddr_r(query.text.constData(), socklen_t(query.text.size()), query.addrType, &h,
                                 scratch.data(), scratch.size(), &result, &hErrno);
    })
                                : byName(AF_INET);
    // A name with no IPv4 address at all gets its IPv6 addresses: otherwise a host that the
    // user can reach would only ever give the error line.
    if (fits && !result && !query.byAddress && (hErrno == HOST_NOT_FOUND || hErrno == NO_DATA))
        fits = byName(AF_INET6);
    if (!fits) {
        found.error = WSAENOBUFS;
        found.tooBig = true;
    } else if (!result) {
        found.error = lookupErrorFromHErrno(hErrno);
    } else {
        found.entry = hostEntryFrom(h);
    }
    return found;
}

SystemResolver::Answer SystemResolver::pack(const Found& found, int buflen)
{
    Answer answer;
    answer.entry = QByteArray(buflen, '\0');
    if (found.error != 0) {
        answer.error = found.error;
        answer.length = found.tooBig ? 0xFFFF : 0;
        return answer;
    }
    const PackResult packed = packHostEntry(found.entry, std::span<char>(answer.entry.data(), size_t(buflen)));
    answer.error = packed.error;
    answer.length = saturated16(packed.length);
    return answer;
}
