#pragma once
#include <functional>

class Form1;

// Runs the program: the application object, the real adapters and the main window.
// `onCreated`, when given, sees the window after start-up and before it is shown.
int runApplication(int argc, char** argv, const std::function<void(Form1&)>& onCreated = {});
