#pragma once
#include "FakeBusyPointer.h"
#include "FakeHelpViewer.h"
#include "FakeIcmpControl.h"
#include "FakeInterfaceList.h"
#include "FakeMessageBox.h"
#include "FakeResolver.h"
#include "FakeShell.h"
#include "FakeTcpControl.h"
#include "FakeTimer.h"
#include "app/Form1.h"

#include <memory>

// The main window wired to fakes. `connected` decides what start-up finds. A test of the
// real resolver hands it in as `realResolver`; the fake one then stays unused.
struct FormHarness {
    explicit FormHarness(bool load = true, bool connected = true, Resolver* realResolver = nullptr);

    FakeMessageBox messageBox;
    FakeBusyPointer busyPointer;
    FakeInterfaceList interfaces;
    FakeResolver resolver;
    FakeShell shell;
    FakeHelpViewer helpViewer;
    FakeIcmpControl* icmp = nullptr;
    FakeTcpControl* tcp = nullptr;
    FakeTimer* timer = nullptr;
    Resolver* realResolver = nullptr;
    std::unique_ptr<Form1> form;

    Platform platform();
};
