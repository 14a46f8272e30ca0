#pragma once
#include "ControlTable.h"

#include <QString>
#include <QStringView>

#include <span>

// The tool pages, one row each. The tab strip, the page switch, the command line and F1 all
// read this table, so a new tool is one row here plus its handler file.
struct PageEntry {
    Page page;
    const char* caption;       // the tab's text, blanks included; the page is known by it trimmed
    const char* option;        // its command-line option, without the leading "--"
    const char* valueName;     // what that option takes, for --help
    const char* optionHelp;    // what that option does, for --help
    const char* helpTopic;     // its topic in the compiled help
    const char* helpFile;      // its help page under the program folder
    const char* hostBox;       // the control its host (or domain) is typed into
    const char* actionButton;  // the button that starts it; the default button while it is in front
    bool monitorable;          // its host can be watched over time in a path monitor
};

std::span<const PageEntry> pageRegistry();
// The page whose trimmed caption is exactly `caption` (case and all); nullptr when none is.
const PageEntry* pageWithCaption(QStringView caption);
// The page whose command-line option is `option`; nullptr when none is.
const PageEntry* pageWithOption(QStringView option);
const PageEntry& pageEntry(Page page);
// A caption without the blanks around it, as the page switch records it.
QString trimBlanks(const QString& text);
