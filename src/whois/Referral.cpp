#include "Referral.h"

#include <QHostAddress>
#include <QList>

#include <algorithm>

namespace whois {
namespace {

bool startsWithNoCase(QByteArrayView line, QByteArrayView key)
{
    return line.size() >= key.size() && qstrnicmp(line.data(), key.size(), key.data(), key.size()) == 0;
}

QByteArrayView trimmedLeft(QByteArrayView line)
{
    qsizetype at = 0;
    while (at < line.size() && (line[at] == ' ' || line[at] == '\t'))
        ++at;
    return line.sliced(at);
}

// The value after the first of `keys` that the line starts with.
std::optional<QByteArrayView> valueOf(QByteArrayView line, std::initializer_list<QByteArrayView> keys)
{
    for (const QByteArrayView key : keys) {
        if (startsWithNoCase(line, key))
            return line.sliced(key.size());
    }
    return std::nullopt;
}

// A name a host can have (RFC 1035: labels of 1 to 63 letters, digits, inner "-", and "_"), or an address.
std::optional<QString> hostName(QByteArrayView text)
{
    if (QHostAddress address; address.setAddress(QString::fromLatin1(text)))
        return address.toString();
    if (text.endsWith('.'))
        text.chop(1);
    if (text.isEmpty() || text.size() > 253)
        return std::nullopt;
    qsizetype labelStart = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        if (i == text.size() || text[i] == '.') {
            if (i == labelStart || i - labelStart > 63 || text[labelStart] == '-' || text[i - 1] == '-')
                return std::nullopt;
            labelStart = i + 1;
            continue;
        }
        const char c = text[i];
        if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_'))
            return std::nullopt;
    }
    return QString::fromLatin1(text).toLower();
}

std::optional<quint16> portOf(QByteArrayView digits)
{
    if (digits.isEmpty() || digits.size() > 5 || !std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; }))
        return std::nullopt;
    const int port = digits.toInt();
    return port >= 1 && port <= 65535 ? std::optional(quint16(port)) : std::nullopt;
}

// "% referto: whois -h HOST -p PORT QUERY": the host and port.
std::optional<Referral> referTo(QByteArrayView rest)
{
    QList<QByteArray> words = rest.first(std::min<qsizetype>(rest.size(), 1024)).toByteArray().split(' ');
    words.removeAll(QByteArray());
    if (words.size() < 5 || words[0] != "whois" || words[1] != "-h" || words[3] != "-p")
        return std::nullopt;
    const std::optional<quint16> port = portOf(words[4]);
    const std::optional<Referral> server = parseServer(words[2]);
    return port && server ? std::optional(Referral{server->host, *port}) : std::nullopt;
}

} // namespace

std::optional<Referral> parseServer(QByteArrayView text, quint16 defaultPort)
{
    text = trimmedLeft(text);
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == ' ' || text[i] == '\t' || text[i] == '\r') {
            text.truncate(i);
            break;
        }
    }
    quint16 port = defaultPort;
    if (const qsizetype scheme = text.indexOf("://"); scheme >= 0) {
        const QByteArrayView name = text.first(scheme);
        if (name.compare("whois", Qt::CaseInsensitive) != 0 && name.compare("rwhois", Qt::CaseInsensitive) != 0)
            return std::nullopt;
        port = name.size() == 5 ? kWhoisPort : kRwhoisPort;
        text = text.sliced(scheme + 3);
    }
    if (const qsizetype slash = text.indexOf('/'); slash >= 0)
        text.truncate(slash);
    QByteArrayView host = text, portText;
    if (text.startsWith('[')) {
        const qsizetype close = text.indexOf(']');
        if (close < 0 || (close + 1 < text.size() && text[close + 1] != ':'))
            return std::nullopt;
        host = text.sliced(1, close - 1);
        portText = close + 1 < text.size() ? text.sliced(close + 2) : QByteArrayView();
        if (close + 1 < text.size() && portText.isEmpty())
            return std::nullopt;
    } else if (text.count(':') == 1) {
        host = text.first(text.indexOf(':'));
        portText = text.sliced(text.indexOf(':') + 1);
    }
    const std::optional<QString> name = hostName(host);
    const std::optional<quint16> given = portText.isNull() ? std::optional(port) : portOf(portText);
    return name && given ? std::optional(Referral{*name, *given}) : std::nullopt;
}

std::optional<Referral> findReferral(QByteArrayView answer, const Referral& asked)
{
    answer.truncate(std::min(answer.size(), kReferralScanBytes));
    bool inRecord = false;   // past the first record's "Domain Name:" line
    for (qsizetype at = 0; at < answer.size();) {
        qsizetype end = answer.indexOf('\n', at);
        end = end < 0 ? answer.size() : end;
        QByteArrayView line = answer.sliced(at, end - at);
        at = end + 1;
        while (line.endsWith('\r'))
            line.chop(1);
        std::optional<Referral> found;
        const QByteArrayView indented = trimmedLeft(line);
        if (const auto rest = valueOf(line, {"% referto:"}))
            found = referTo(trimmedLeft(*rest));
        else if (const auto refer = valueOf(line, {"refer:", "whois:"}))
            found = parseServer(*refer);
        else if (const auto url = valueOf(line, {"ReferralServer:"}); url && url->contains("://"))
            found = parseServer(*url);
        else if (valueOf(indented, {"Domain Name:"}))
            inRecord = true;
        else if (const auto server = inRecord ? valueOf(indented, {"Registrar WHOIS Server:", "Whois Server:"}) : std::nullopt)
            found = parseServer(*server);
        if (found && !(sameHost(found->host, asked.host) && found->port == asked.port))
            return found;
    }
    return std::nullopt;
}

bool sameHost(QStringView a, QStringView b)
{
    const QHostAddress first(a.toString()), second(b.toString());
    if (!first.isNull() || !second.isNull())
        return first.isEqual(second, QHostAddress::StrictConversion);
    const auto bare = [](QStringView name) { return name.endsWith(u'.') ? name.chopped(1) : name; };
    return bare(a).compare(bare(b), Qt::CaseInsensitive) == 0;
}

QString referralQuery(QStringView server, const QString& query)
{
    const bool plain = !query.contains(u' ');
    if (plain && (sameHost(server, u"whois.verisign-grs.com") || sameHost(server, u"whois.crsnic.net"))
        && query.count(u'.') == 1 && !query.contains(u'=') && !query.contains(u'~'))
        return QStringLiteral("domain ") + query;
    if (!plain || !sameHost(server, u"whois.arin.net"))
        return query;
    if (query.size() > 2 && query.first(2).compare(u"as", Qt::CaseInsensitive) == 0 && query[2].isDigit())
        return QStringLiteral("a ") + query.sliced(2);
    const QString address = query.section(u'/', 0, 0);
    if (query.contains(u':') || QHostAddress(address).protocol() == QAbstractSocket::IPv4Protocol)
        return (query.contains(u'/') ? QStringLiteral("r + = ") : QStringLiteral("n + ")) + query;
    return query;
}

} // namespace whois
