#pragma once
#include "platform/ui/Dialogs.h"

#include <functional>
#include <vector>

// Answers every message box at once and remembers what it was asked to show.
class FakeMessageBox final : public MessageBox {
public:
    struct Shown {
        QString prompt;
        int flags;
        QString title;
    };
    void show(QWidget*, const QString& prompt, int flags, const QString& title) override
    {
        shown.push_back({prompt, flags, title});
        if (onShow)
            onShow(shown.back());
    }
    std::vector<Shown> shown;
    // Runs while the box would be on screen, so a test can act "behind" a modal box.
    std::function<void(const Shown&)> onShow;
};
