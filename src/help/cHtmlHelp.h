#pragma once

// Binds the desktop's compiled-help viewer to one owner window and one help file.
class cHtmlHelp {
public:
    cHtmlHelp() = default;
};
