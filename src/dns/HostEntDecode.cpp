#include "HostEntDecode.h"

#include "HostEntLayout.h"

#include <QtEndian>

using namespace hostent_layout;

namespace {

class Reader {
public:
    explicit Reader(QByteArrayView buffer) : m_buf(buffer) {}

    // Fields of a buffer shorter than the header read as 0.
    quint32 u32(qsizetype at) const
    {
        return fits(at, 4) ? qFromLittleEndian<quint32>(m_buf.data() + at) : 0;
    }
    qint16 i16(qsizetype at) const { return fits(at, 2) ? qFromLittleEndian<qint16>(m_buf.data() + at) : 0; }

    bool inDataArea(quint32 pointer) const { return pointer >= quint32(kHeaderSize) && pointer < quint64(m_buf.size()); }

    QByteArray name(quint32 pointer) const
    {
        if (!inDataArea(pointer))
            return {};
        const QByteArrayView span = m_buf.sliced(pointer, qMin<qsizetype>(kNameSpan, m_buf.size() - pointer));
        const qsizetype nul = span.indexOf('\0');
        return (nul < 0 ? span : span.first(nul)).toByteArray();
    }

    bool fits(qsizetype at, qsizetype size) const { return at >= 0 && size <= m_buf.size() - at; }
    QByteArrayView bytes(qsizetype at, qsizetype size) const { return m_buf.sliced(at, size); }

private:
    QByteArrayView m_buf;
};

} // namespace

DecodedHostEntry decodeHostEntry(QByteArrayView buffer)
{
    const Reader r(buffer);
    DecodedHostEntry entry;

    const quint32 addrList = r.u32(kAddrListField);
    const qint16 length = r.i16(kLengthField);
    if (r.inDataArea(addrList) && length > 0 && length <= kMaxAddressLength) {
        const quint32 first = r.u32(addrList);
        if (r.inDataArea(first) && r.fits(first, length))
            entry.address = r.bytes(first, length).toByteArray();
    }

    entry.name = r.name(r.u32(kNameField));

    const quint32 aliasList = r.u32(kAliasesField);
    if (r.inDataArea(aliasList)) {
        // The list ends at a null pointer, at a pointer outside the data area, or at the buffer's end.
        for (qsizetype at = aliasList; r.fits(at, 4); at += 4) {
            const quint32 alias = r.u32(at);
            if (!r.inDataArea(alias))
                break;
            entry.aliases << r.name(alias);
        }
    }
    return entry;
}
