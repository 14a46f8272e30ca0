#include "HostEntPack.h"

#include "SocketsLayer.h"

#include <QtEndian>

#include <netdb.h>

#include <cstring>

using namespace hostent_layout;

namespace {

class Writer {
public:
    explicit Writer(std::span<char> out) : m_out(out) {}

    void putU16(quint32 at, quint16 value) { qToLittleEndian(value, m_out.data() + at); }
    void putU32(quint32 at, quint32 value) { qToLittleEndian(value, m_out.data() + at); }
    // Copies `size` bytes of `bytes` (zero-filled past its end) to the free space; returns their offset.
    quint32 append(const QByteArray& bytes, quint32 size)
    {
        const quint32 at = m_next;
        const quint32 copied = quint32(qMin<qsizetype>(bytes.size(), size));
        std::memcpy(m_out.data() + at, bytes.constData(), copied);
        std::memset(m_out.data() + at + copied, 0, size - copied);
        m_next += size;
        return at;
    }
    quint32 appendText(const QByteArray& text)
    {
        const quint32 at = append(text, quint32(text.size()));
        m_out[m_next++] = '\0';
        return at;
    }
    quint32 reserve(quint32 size)
    {
        const quint32 at = m_next;
        m_next += size;
        return at;
    }
    quint32 used() const { return m_next; }

private:
    std::span<char> m_out;
    quint32 m_next = kHeaderSize;
};

} // namespace

PackResult packHostEntry(const HostEntry& entry, std::span<char> out)
{
    const quint64 addrLength = quint64(qMax<qint16>(entry.length, 0));
    quint64 needed = kHeaderSize;
    needed += 4 * quint64(entry.aliases.size() + 1) + 4 * quint64(entry.addresses.size() + 1);
    needed += addrLength * quint64(entry.addresses.size());
    needed += quint64(entry.name.size()) + 1;
    for (const QByteArray& alias : entry.aliases)
        needed += quint64(alias.size()) + 1;
    if (needed > out.size())
        return {WSAENOBUFS, quint32(qMin<quint64>(needed, 0xFFFFFFFFu))};

    Writer w(out);
    const quint32 aliasList = w.reserve(4 * quint32(entry.aliases.size() + 1));
    const quint32 addrList = w.reserve(4 * quint32(entry.addresses.size() + 1));
    // Pointer lists first and addresses next keep every list and address 4-byte aligned.
    for (qsizetype i = 0; i < entry.addresses.size(); ++i)
        w.putU32(addrList + 4 * quint32(i), w.append(entry.addresses[i], quint32(addrLength)));
    w.putU32(addrList + 4 * quint32(entry.addresses.size()), 0);
    const quint32 name = w.appendText(entry.name);
    for (qsizetype i = 0; i < entry.aliases.size(); ++i)
        w.putU32(aliasList + 4 * quint32(i), w.appendText(entry.aliases[i]));
    w.putU32(aliasList + 4 * quint32(entry.aliases.size()), 0);

    w.putU32(kNameField, name);
    w.putU32(kAliasesField, aliasList);
    w.putU16(kAddrTypeField, quint16(entry.addrType));
    w.putU16(kLengthField, quint16(entry.length));
    w.putU32(kAddrListField, addrList);
    return {0, w.used()};
}

HostEntry hostEntryFrom(const hostent& h)
{
    HostEntry entry;
    if (h.h_name)
        entry.name = QByteArray(h.h_name);
    for (char** alias = h.h_aliases; alias && *alias; ++alias)
        entry.aliases << QByteArray(*alias);
    entry.addrType = qint16(h.h_addrtype);
    entry.length = qint16(qMax(h.h_length, 0));
    for (char** addr = h.h_addr_list; addr && *addr; ++addr)
        entry.addresses << QByteArray(*addr, entry.length);
    return entry;
}

quint16 lookupErrorFromHErrno(int hErrno)
{
    switch (hErrno) {
    case HOST_NOT_FOUND:
        return WSAHOST_NOT_FOUND;
    case TRY_AGAIN:
        return WSATRY_AGAIN;
    case NO_DATA:
        return WSANO_DATA;
    default:
        // NO_RECOVERY, and NETDB_INTERNAL (a system error inside the resolver).
        return WSANO_RECOVERY;
    }
}
