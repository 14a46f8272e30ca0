#pragma once
#include "Twips.h"

#include <span>

class Form1;
class QWidget;

// The main window, declared as data: every control with its kind, page, text, font,
// place, tab index and the member it is bound to. The window is built from this table.

enum class ControlKind {
    Button,
    TabControl,
    TextBox,
    ReadOnlyTextBox,      // read-only, with the button-face background
    AutoSizeLabel,        // grows and shrinks with its caption
    FixedLabel,
    ResultsTable,
    MultiLineTextBox,     // multi-line with a vertical scroll bar
};

// The tab pages, in tab order (their rows are in PageRegistry.cpp); Window: on no page.
enum class Page { Window = -1, Ping = 0, Traceroute = 1, DnsLookup = 2, Whois = 3 };

enum class FontChoice { Arial, WindowFont, CourierNew };

struct ControlSpec {
    int tabIndex;
    const char* name;
    ControlKind kind;
    Page page;
    const char* text;
    FontChoice font;
    TwipsRect rect;
    bool enabled;
    bool visible;         // initial visibility, before start-up changes it
    const char* buddy;    // for labels: the text box they name
    void (*bind)(Form1& form, QWidget* control);   // sets the window's member of that name
};

struct ColumnSpec {
    const char* key;
    const char* header;
    int widthTwips;
};

// The window's client area.
inline constexpr int kWindowWidthTwips = 8985;
inline constexpr int kWindowHeightTwips = 5265;

std::span<const ColumnSpec> resultColumns();
// The controls themselves are Form1::kControls, in ControlTable.cpp: the table can name the
// window's members that way.

inline constexpr double kArialPointSize = 8.25;
inline constexpr double kCourierPointSize = 8.25;
