#pragma once
#include "HelpViewer.h"
#include "XdgDesktop.h"

// The compiled-help viewer the desktop has registered, started on the help file with the
// topic in the form the viewer understands (xchm, kchmviewer; others get the file alone).
// No viewer on Linux takes an owner window, so the handle passed is not used.
class XdgHelpViewer final : public HelpViewer {
public:
    explicit XdgHelpViewer(XdgDesktop desktop = XdgDesktop());

    bool isInstalled() override;
    // The "window handle" given back is the viewer's process id.
    qint32 show(qint64 ownerWindow, const QString& helpFile, int command, const QString& data) override;

private:
    QString registeredViewer() const;

    XdgDesktop m_desktop;
    QString m_viewerId;   // as the last isInstalled() found it
};
