#pragma once
#include "ControlTable.h"

#include <QString>
#include <QStringList>

// What the program is asked to do on its command line:
//   pathlark [--ping [HOST] | --traceroute [HOST] | --lookup [HOST] |
//             --whois [DOMAIN] [--server NAME] [--port N] [--no-referrals] | --monitor HOST]
//   pathlark --report HOST [--rounds N] [--interval SECONDS] [--format text|csv|json]
//   pathlark --help | --version
// and with any of them --no-asn (no AS lookups) or --asn-zone DOMAIN (another origin service).
// A page option opens the window on that page; with a host (or domain) it fills the page's
// box and starts the page's action as a click would. A value that starts with "-" is given
// as --ping=VALUE. Qt's own options (-platform, -style, ...) are left to Qt.
struct CommandLine {
    enum class Action { OpenWindow, PrintHelp, PrintVersion, Report, Refuse };
    enum class Format { Text, Csv, Json };
    static constexpr int kMaxRounds = 100000;
    Action action = Action::OpenWindow;
    Page page = Page::Window;  // the tab to open on; Window: the window as it starts
    QString host;            // the host or domain to start with; empty: only the page
    bool start = false;
    QString server;          // --whois only; empty keeps the box's own
    QString port;
    bool followReferrals = true;   // --no-referrals: the whois page shows the first answer only
    QString monitorHost;     // --monitor: the host to watch in a monitor window; empty: none
    QString reportHost;      // Report: the host to watch with no window
    int rounds = 10;
    double intervalSeconds = 1.0;
    Format format = Format::Text;
    bool noAsn = false;      // --no-asn: no AS lookups at all
    QString asnZone;         // --asn-zone: the zone asked instead of asn.cymru.com; empty: that one
    QString error;           // Refuse: what is wrong, for stderr

    static CommandLine parse(const QStringList& arguments);
    static QString usage();
};
