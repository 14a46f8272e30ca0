#pragma once
#include <QString>

// The help page of a tab page: its topic in the compiled help file and its file under the
// program folder.
struct HelpPage {
    QString topic;   // empty: the help file's default topic
    QString file;
};

// The compiled help file, under the program folder.
inline constexpr char kCompiledHelpFile[] = "/Pathlark.chm";

// The page for the caption in `currentTab`, compared exactly; anything that matches no
// tool's caption, the empty text included, gets the main page.
HelpPage helpPageFor(const QString& currentTab);
