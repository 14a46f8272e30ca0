#pragma once
#include "FakeBusyPointer.h"
#include "FakeFileDialog.h"
#include "FakeHelpViewer.h"
#include "FakeIcmpControl.h"
#include "FakeInterfaceList.h"
#include "FakeMessageBox.h"
#include "FakeResolver.h"
#include "FakeShell.h"
#include "FakeTcpControl.h"
#include "FakeTimer.h"
#include "app/Form1.h"

#include <QLineEdit>
#include <QPushButton>

#include <functional>
#include <memory>

class MultiLineTextBox;

// The main window wired to fakes.
struct FormHarness {
    struct Options {
        bool load = true;        // run start-up
        bool connected = true;   // what start-up finds
        // Puts real adapters in place of fakes before the window is made.
        std::function<void(Platform&)> adjust;
    };
    explicit FormHarness(Options options);
    FormHarness() : FormHarness(Options{}) {}

    // The window's controls by their names, as a user finds them.
    template <typename W = QWidget>
    W* find(const char* name) const { return form->findChild<W*>(QLatin1String(name)); }
    QPushButton* button(const char* name) const { return find<QPushButton>(name); }
    QLineEdit* edit(const char* name) const { return find<QLineEdit>(name); }
    MultiLineTextBox* textBox(const char* name = "HostResponse") const;

    FakeMessageBox messageBox;
    FakeBusyPointer busyPointer;
    FakeFileDialog fileDialog;
    FakeInterfaceList interfaces;
    FakeResolver resolver;
    FakeShell shell;
    FakeHelpViewer helpViewer;
    FakeIcmpControl* icmp = nullptr;
    FakeTcpControl* tcp = nullptr;
    FakeTimer* timer = nullptr;
    std::unique_ptr<Form1> form;

    Platform platform();
};
