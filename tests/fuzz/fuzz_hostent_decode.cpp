// The host-entry decoder on any bytes: it must stay inside them, and what it reads must
// survive packing and decoding again unchanged.
#include "dns/HostEntDecode.h"
#include "dns/HostEntLayout.h"
#include "dns/HostEntPack.h"
#include "dns/HostEntText.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const DecodedHostEntry decoded = decodeHostEntry(QByteArrayView(data, qsizetype(size)));
    (void)hostEntryPieces(decoded);

    HostEntry entry;
    entry.name = decoded.name;
    entry.aliases = decoded.aliases;
    if (!decoded.address.isEmpty()) {
        entry.length = qint16(decoded.address.size());
        entry.addresses = {decoded.address};
    }
    QByteArray packed(hostent_layout::kBufferSize, '\0');
    PackResult result = packHostEntry(entry, std::span<char>(packed.data(), size_t(packed.size())));
    if (result.error == WSAENOBUFS) {
        packed = QByteArray(qsizetype(result.length), '\0');
        result = packHostEntry(entry, std::span<char>(packed.data(), size_t(packed.size())));
    }
    const DecodedHostEntry again = decodeHostEntry(packed);
    if (result.error != 0 || again.name != decoded.name || again.aliases != decoded.aliases
        || again.address != decoded.address)
        std::abort();
    return 0;
}
