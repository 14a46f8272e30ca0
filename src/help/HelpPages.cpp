#include "HelpPages.h"

namespace {

struct Row {
    const char* caption;
    const char* topic;
    const char* file;
};

// Compared in this order; the last row takes everything else.
constexpr Row kDispatch[] = {
    {"Ping",       "ping.htm",  "/help/ping.htm"},
    {"Traceroute", "trace.htm", "/help/trace.htm"},
    {"DNS Lookup", "dns.htm",   "/help/dns.htm"},
    {"Whois",      "whois.htm", "/help/whois.htm"},
    {nullptr,      nullptr,     "/help/mainpathlark.htm"},
};

} // namespace

HelpPage helpPageFor(const QString& currentTab)
{
    for (const Row& row : kDispatch) {
        if (!row.caption || currentTab == QLatin1String(row.caption))
            return {QString::fromLatin1(row.topic), QString::fromLatin1(row.file)};
    }
    Q_UNREACHABLE();
}
