// A packed host entry of any bytes: the decoder reads only inside them (the address sanitizer
// sees to that, as libFuzzer's buffer is exactly the input), ends, and what it gives is there in
// the bytes where the pointers say, and survives packing and decoding again. The same bytes as
// an AS lookup's TXT record: an origin taken holds the address asked, a name is short and whole.
#include "FuzzChecks.h"
#include "asn/OriginRecord.h"
#include "dns/HostEntry.h"
#include "platform/HostEntPack.h"
#include "platform/SocketsLayer.h"

#include <QtEndian>

using namespace fuzz;
namespace layout = hostent_layout;

namespace {

quint32 pointerAt(QByteArrayView b, qsizetype at)
{
    return at >= 0 && at + 4 <= b.size() ? qFromLittleEndian<quint32>(b.data() + at) : 0;
}

// `text` stands at `pointer` and ends there as a name ends: at a NUL, its span's end or the buffer's.
bool isNameAt(QByteArrayView b, quint32 pointer, const QByteArray& text)
{
    if (text.size() > layout::kNameSpan || text.contains('\0'))
        return false;
    if (pointer < quint32(layout::kHeaderSize) || pointer >= quint64(b.size()))
        return text.isEmpty();
    const qsizetype end = qsizetype(pointer) + text.size();
    return b.sliced(pointer).startsWith(text)
        && (text.size() == layout::kNameSpan || end == b.size() || b[end] == '\0');
}

void checkTxtRecord(QByteArrayView b)
{
    for (const char* asked : {"198.18.2.7", "2001:db8::1"}) {
        const QHostAddress address(QString::fromLatin1(asked));
        if (const std::optional<asn::OriginRecord> r = asn::parseOriginRecord(b, address)) {
            require(r->asn != 0 && address.isInSubnet(r->prefix) && r->country.size() <= 16 && r->registry.size() <= 16,
                    "an origin holds the address asked, with a real AS number and short fields");
        }
    }
    if (const std::optional<QString> name = asn::parseAsNameRecord(b, 64500)) {
        // The record's first field is the AS number asked, leading zeros or not.
        const QByteArray first = b.toByteArray().split('|').value(0).trimmed();
        require(!name->isEmpty() && name->size() <= asn::kMaxNameLength && first.toUInt() == 64500,
                "a name is not empty, not over the cap, and from the record of the AS asked");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArrayView b(data, qsizetype(size));
    checkTxtRecord(b);
    const DecodedHostEntry e = decodeHostEntry(b);

    require(isNameAt(b, pointerAt(b, layout::kNameField), e.name), "the name is where its pointer says");
    const quint32 aliasList = pointerAt(b, layout::kAliasesField);
    require(e.aliases.size() <= qMax<qsizetype>(0, b.size() - layout::kHeaderSize) / 4, "no more aliases than pointers");
    for (qsizetype i = 0; i < e.aliases.size(); ++i)
        require(isNameAt(b, pointerAt(b, aliasList + 4 * i), e.aliases[i]), "each alias is where its pointer says");
    if (!e.address.isEmpty()) {
        const qsizetype length = qFromLittleEndian<qint16>(b.data() + layout::kLengthField);
        const quint32 first = pointerAt(b, pointerAt(b, layout::kAddrListField));
        require(e.address.size() == length && length <= layout::kMaxAddressLength
                    && b.sliced(first).startsWith(e.address),
                "the address has the entry's length and is where the list points");
    }
    require(hostEntryPieces(e).size() == 2 + e.aliases.size(), "an IP line, a name line, a line per alias");

    // Packed again and decoded, the entry comes back the same.
    HostEntry entry;
    entry.name = e.name;
    entry.aliases = e.aliases;
    entry.length = qint16(e.address.size());
    if (!e.address.isEmpty())
        entry.addresses = {e.address};
    QByteArray packed(layout::kBufferSize, '\0');
    PackResult packing = packHostEntry(entry, std::span<char>(packed.data(), size_t(packed.size())));
    if (packing.error == WSAENOBUFS) {
        packed = QByteArray(qsizetype(packing.length), '\0');
        packing = packHostEntry(entry, std::span<char>(packed.data(), size_t(packed.size())));
    }
    const DecodedHostEntry again = decodeHostEntry(packed);
    require(packing.error == 0 && again.name == e.name && again.aliases == e.aliases && again.address == e.address,
            "packing and decoding give the entry back");
    return 0;
}
