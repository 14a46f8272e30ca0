#include "Resolver.h"

#include "OffThread.h"
#include "SocketsLayer.h"
#include "platform/SocketsLayer.h"
#include "platform/HostEntPack.h"


#include <netdb.h>
#include <sys/socket.h>

#include <cerrno>
#include <limits>
#include <vector>

namespace {

// glibc's scratch space for one entry grows up to this; beyond it no entry fits the buffer anyway.
constexpr size_t kMaxScratch = 1 << 20;

quint16 saturated16(quint32 n)
{
    return quint16(qMin<quint32>(n, 0xFFFF));
}

} // namespace

SystemResolver::SystemResolver()
    : m_receiver(std::make_unique<QObject>())
{
}

// Lookups still running deliver nothing once the receiver has gone.
SystemResolver::~SystemResolver() = default;

void SystemResolver::checkHost(const QByteArray& host, QObject* context, std::function<void(bool found)> done)
{
    const auto work = [host] {
        if (host.contains('\0'))   // glibc would read a shorter name than the one typed
            return false;
        addrinfo hints{};
        hints.ai_family = AF_UNSPEC;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* result = nullptr;
        const int status = ::getaddrinfo(host.constData(), nullptr, &hints, &result);
        if (result)
            ::freeaddrinfo(result);
        return status == 0;
    };
    runOffThread<bool>(context, work, std::move(done), false);
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

    Answer unavailable;   // no thread for the lookup: the resolver could not take it now
    unavailable.error = WSATRY_AGAIN;
    runOffThread<Answer>(
        m_receiver.get(), [query = std::move(query), buflen] { return lookUp(query, buflen); },
        [this, handle](const Answer& answer) { finish(handle, answer); }, unavailable);
    return handle;
}

void SystemResolver::finish(qint32 handle, const Answer& answer)
{
    const Caller caller = m_pending.take(handle);
    completeLookup(caller.hWnd.data(), caller.wMsg, handle, caller.buf, caller.buflen, answer.entry, answer.error,
                   answer.length);
}

SystemResolver::Answer SystemResolver::lookUp(const Query& query, int buflen)
{
    Answer answer;
    answer.entry = QByteArray(buflen, '\0');
    // glibc would read a name with a NUL in it as a shorter one.
    if (!query.byAddress && query.text.contains('\0')) {
        answer.error = WSAHOST_NOT_FOUND;
        return answer;
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
        answer.error = WSAENOBUFS;
        answer.length = 0xFFFF;
        return answer;
    }
    if (!result) {
        answer.error = lookupErrorFromHErrno(hErrno);
        return answer;
    }

    const PackResult packed = packHostEntry(hostEntryFrom(h), std::span<char>(answer.entry.data(), size_t(buflen)));
    answer.error = packed.error;
    answer.length = saturated16(packed.length);
    return answer;
}
