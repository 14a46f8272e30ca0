// A viewer's desktop file as it lies on disk: any bytes either give a command line with the
// help file on it, or nothing; never a crash, never a control character on the command line.
#include "platform/DesktopEntry.h"

#include <QByteArray>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const auto require = [](bool ok) {
        if (!ok)
            std::abort();
    };
    const QByteArray text(reinterpret_cast<const char*>(data), qsizetype(size));
    const std::optional<DesktopEntry> entry = parseDesktopEntry(text);
    if (!entry)
        return 0;
    require(!entry->exec.isEmpty());
    const std::optional<QStringList> args = splitExecLine(entry->exec);
    if (!args)
        return 0;
    require(!args->isEmpty() && !args->first().isEmpty());
    for (const QString& arg : *args) {
        for (QChar c : arg)
            require(c.unicode() >= 0x20 && c.unicode() != 0x7f);
    }

    const QString file = QStringLiteral("/opt/pathlark/Pathlark.chm");
    const QStringList expanded =
        expandFieldCodes(*args, {QStringLiteral("-showPage"), QStringLiteral("/ping.htm"), file}, *entry,
                         QStringLiteral("/usr/share/applications/viewer.desktop"));
    bool fileGiven = false;
    for (const QString& arg : expanded)
        fileGiven |= arg.contains(file);
    require(fileGiven);
    return 0;
}
