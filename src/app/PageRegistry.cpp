#include "PageRegistry.h"

#include <algorithm>
#include <array>

namespace {

using P = Page;

// clang-format off
constexpr std::array kPages{
// page          caption                              option        value     --help                                              topic        help file            host box          button           monitor
PageEntry{P::Ping,       "         Ping                  ", "ping",       "HOST",   "open the Ping page; with a host, ping it",               "ping.htm",  "/help/ping.htm",  "txtRemote",      "cmdPing",       true},
PageEntry{P::Traceroute, "         Traceroute        ",     "traceroute", "HOST",   "open the Traceroute page; with a host, trace the route to it", "trace.htm", "/help/trace.htm", "txtRemoteTrace", "cmdTraceroute", true},
PageEntry{P::DnsLookup,  "         DNS Lookup        ",     "lookup",     "HOST",   "open the DNS Lookup page; with a host or address, look it up", "dns.htm",   "/help/dns.htm",   "DNSHost",        "DoLookup",      false},
PageEntry{P::Whois,      "         Whois        ",          "whois",      "DOMAIN", "open the Whois page; with a domain, query it",           "whois.htm", "/help/whois.htm", "Text1",          "Command1",      false},
};
// clang-format on

// Each page's row sits at its tab index.
constexpr bool rowsInTabOrder()
{
    for (size_t i = 0; i < kPages.size(); ++i)
        if (int(kPages[i].page) != int(i))
            return false;
    return true;
}
static_assert(rowsInTabOrder());

} // namespace

std::span<const PageEntry> pageRegistry() { return kPages; }

QString trimBlanks(const QString& text)
{
    qsizetype first = 0;
    qsizetype last = text.size();
    while (first < last && text[first] == u' ')
        ++first;
    while (last > first && text[last - 1] == u' ')
        --last;
    return text.mid(first, last - first);
}

const PageEntry* pageWithCaption(QStringView caption)
{
    const auto found = std::ranges::find_if(kPages, [&](const PageEntry& entry) {
        return trimBlanks(QString::fromLatin1(entry.caption)) == caption;
    });
    return found == kPages.end() ? nullptr : &*found;
}

const PageEntry* pageWithOption(QStringView option)
{
    const auto found = std::ranges::find_if(kPages, [&](const PageEntry& entry) { return option == QLatin1String(entry.option); });
    return found == kPages.end() ? nullptr : &*found;
}

const PageEntry& pageEntry(Page page) { return kPages.at(size_t(page)); }
