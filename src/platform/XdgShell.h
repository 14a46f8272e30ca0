#pragma once
#include "Shell.h"
#include "XdgDesktop.h"

// "open" through xdg-open. The owner window is not used: xdg-open takes none.
class XdgShell final : public Shell {
public:
    explicit XdgShell(XdgDesktop desktop = XdgDesktop());

    qint32 open(qint64 ownerWindow, const QString& path) override;

private:
    XdgDesktop m_desktop;
};
