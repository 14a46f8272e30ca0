#pragma once
#include "platform/Bool16.h"
#include "help/cHtmlHelp.h"

#include <QString>

#include <memory>

// The program's name: the window's caption and the title of its message boxes.
inline const QString kProgramTitle = QStringLiteral("Pathlark");

// State shared by the whole program.
struct Module1 {
    // Settled once at start-up: only kTrue16 lets the tools run.
    Bool16 IsConnected = kFalse16;
    // Trimmed caption of the tab page last switched to; empty until the first switch.
    QString CurrentTab;
    // Created by the first F1 press that finds a compiled-help viewer.
    std::unique_ptr<cHtmlHelp> ContextHelp;
};
