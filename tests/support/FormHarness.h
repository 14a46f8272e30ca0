#pragma once
#include "Fakes.h"
#include "app/Form1.h"
#include "app/MultiLineTextBox.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>

#include <memory>

// The main window wired to fakes, found and driven by its controls' names as a user finds them.
struct FormHarness {
    struct Options {
        bool load = true;        // run start-up
        bool connected = true;   // what start-up finds
        // Puts real adapters in place of fakes before the window is made.
        std::function<void(Platform&)> adjust;
    };
    explicit FormHarness(Options options);
    FormHarness() : FormHarness(Options{}) {}

    template <typename W = QWidget>
    W* find(const char* name) const { return form->findChild<W*>(QLatin1String(name)); }
    QPushButton* button(const char* name) const { return find<QPushButton>(name); }
    QLineEdit* edit(const char* name) const { return find<QLineEdit>(name); }
    MultiLineTextBox* textBox() const { return find<MultiLineTextBox>("HostResponse"); }   // the results box
    QTabWidget* tabs() const { return find<QTabWidget>("SSTab1"); }
    // Brings page `page` to the front by clicking its tab.
    void openTab(int page) const;
    // The prompts of the message boxes shown so far, joined by '+'.
    QString messages() const;

    FakeMessageBox messageBox;
    FakeBusyPointer busyPointer;
    FakeFileDialog fileDialog;
    FakeInterfaceList interfaces;
    FakeResolver resolver;
    FakeShell shell;
    FakeHelpViewer helpViewer;
    FakeTxtLookup txt;
    FakeIcmpControl* icmp = nullptr;
    FakeTcpControl* tcp = nullptr;
    FakeTimer* timer = nullptr;
    std::unique_ptr<Form1> form;
};
