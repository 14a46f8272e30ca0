#pragma once
#include <QString>

// A help page: its topic in the compiled help file and its file under the program folder.
// Each tool's page is named in its row of the window's page table; this is the main page,
// shown for anything else.
struct HelpPage {
    QString topic;   // empty: the help file's default topic
    QString file;
};

// The compiled help file, under the program folder.
inline constexpr char kCompiledHelpFile[] = "/Pathlark.chm";

inline HelpPage mainHelpPage() { return {QString(), QStringLiteral("/help/mainpathlark.htm")}; }

// The path monitor's page, shown by F1 in a monitor window.
inline HelpPage monitorHelpPage() { return {QStringLiteral("monitor.htm"), QStringLiteral("/help/monitor.htm")}; }
