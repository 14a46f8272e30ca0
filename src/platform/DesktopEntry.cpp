#include "DesktopEntry.h"

#include <QByteArray>
#include <QByteArrayView>

#include <utility>

namespace {

// The escapes of a string value. Others are left for the Exec quoting rules to read.
QString unescapeValue(QStringView raw)
{
    QString out;
    out.reserve(raw.size());
    for (qsizetype i = 0; i < raw.size(); ++i) {
        if (raw[i] != u'\\' || i + 1 == raw.size()) {
            out += raw[i];
            continue;
        }
        switch (raw[i + 1].unicode()) {
        case 's': out += u' '; break;
        case 'n': out += u'\n'; break;
        case 't': out += u'\t'; break;
        case 'r': out += u'\r'; break;
        case '\\': out += u'\\'; break;
        default:
            out += raw[i];
            out += raw[i + 1];
            break;
        }
        ++i;
    }
    return out;
}

bool isFileCode(QStringView arg)
{
    return arg == u"%f" || arg == u"%F" || arg == u"%u" || arg == u"%U";
}

} // namespace

std::optional<DesktopEntry> parseDesktopEntry(const QByteArray& text)
{
    DesktopEntry entry;
    bool inEntryGroup = false, sawEntryGroup = false, sawExec = false, sawIcon = false, sawName = false;
    const QByteArrayView all(text);
    for (qsizetype start = 0; start < all.size();) {
        qsizetype end = all.indexOf('\n', start);
        if (end < 0)
            end = all.size();
        QByteArrayView line = all.sliced(start, end - start);
        start = end + 1;
        if (line.endsWith('\r'))
            line.chop(1);
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        if (line.startsWith('[')) {
            // Keys of other groups (actions, vendor extensions) do not start the program.
            inEntryGroup = line == "[Desktop Entry]";
            sawEntryGroup |= inEntryGroup;
            continue;
        }
        if (!inEntryGroup)
            continue;
        const qsizetype eq = line.indexOf('=');
        if (eq < 0)
            continue;
        const QByteArrayView key = line.first(eq).trimmed();
        const QString value = unescapeValue(QString::fromUtf8(line.sliced(eq + 1).trimmed()));
        // A key given twice is an error of the file; the first one counts.
        if (key == "Exec" && !std::exchange(sawExec, true))
            entry.exec = value;
        else if (key == "Icon" && !std::exchange(sawIcon, true))
            entry.icon = value;
        else if (key == "Name" && !std::exchange(sawName, true))
            entry.name = value;
        else if (key == "Hidden" && value == u"true")
            return std::nullopt;
        else if (key == "Type" && value != u"Application")
            return std::nullopt;
    }
    if (!sawEntryGroup || entry.exec.isEmpty())
        return std::nullopt;
    return entry;
}

std::optional<QStringList> splitExecLine(const QString& exec)
{
    QStringList args;
    QString current;
    bool inArg = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec[i];
        if (c == u' ' || c == u'\t') {
            if (inArg)
                args << std::exchange(current, QString());
            inArg = false;
            continue;
        }
        // A newline, a NUL or any other control character has no place on a command line.
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            return std::nullopt;
        inArg = true;
        if (c != u'"') {
            current += c;
            continue;
        }
        for (++i;; ++i) {
            if (i == exec.size())
                return std::nullopt;
            const QChar q = exec[i];
            if (q == u'"')
                break;
            if (q.unicode() < 0x20 || q.unicode() == 0x7f)
                return std::nullopt;
            if (q == u'\\' && i + 1 < exec.size() && QStringView(u"\"`$\\").contains(exec[i + 1]))
                current += exec[++i];
            else
                current += q;
        }
    }
    if (inArg)
        args << current;
    if (args.isEmpty() || args.first().isEmpty())
        return std::nullopt;
    return args;
}

QStringList expandFieldCodes(const QStringList& args, const QStringList& fileArgs, const DesktopEntry& entry,
                             const QString& desktopFilePath)
{
    QStringList out;
    bool filesPlaced = false;
    for (const QString& arg : args) {
        if (isFileCode(arg)) {
            if (!std::exchange(filesPlaced, true))
                out << fileArgs;
            continue;
        }
        if (arg == u"%i") {
            if (!entry.icon.isEmpty())
                out << QStringLiteral("--icon") << entry.icon;
            continue;
        }
        QString expanded;
        for (qsizetype i = 0; i < arg.size(); ++i) {
            if (arg[i] != u'%' || i + 1 == arg.size()) {
                expanded += arg[i];
                continue;
            }
            switch (arg[++i].unicode()) {
            case '%': expanded += u'%'; break;
            case 'c': expanded += entry.name; break;
            case 'k': expanded += desktopFilePath; break;
            case 'f': case 'F': case 'u': case 'U':
                // Inside a longer argument only the file itself fits.
                if (!fileArgs.isEmpty() && !std::exchange(filesPlaced, true))
                    expanded += fileArgs.last();
                break;
            default: break;   // deprecated and unknown codes expand to nothing
            }
        }
        if (!expanded.isEmpty() || arg.isEmpty())
            out << expanded;
    }
    if (!filesPlaced)
        out << fileArgs;
    return out;
}
