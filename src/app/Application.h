#pragma once
#include <functional>

class Form1;

// Runs the program: the application object, the real adapters and the main window.
// `onCreated`, when given, sees the window after start-up and before it is shown.
int runApplication(int argc, char** argv, const std::function<void(Form1&)>& onCreated = {});

// Where the desktop names no font of its own Qt asks for "Sans Serif", which a system whose
// only fonts are the package's matches with a monospace face. Then tooltips, menus and message
// boxes take the sans face of the window's controls instead; a desktop's own choice stays.
void keepDefaultFontSans();
