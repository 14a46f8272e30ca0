#pragma once
#include "HelpViewer.h"
#include "DesktopEntry.h"
#include "XdgDesktop.h"

#include <optional>
#include <utility>

// The compiled-help viewer the desktop has registered, started on the help file with the
// topic in the form the viewer understands. Of the viewers Debian ships, xchm takes one as
// "file:FILE#xchm:/TOPIC" and kchmviewer as "-showPage /TOPIC FILE"; okular and calibre's
// viewer open a compiled help file at its first page only. No viewer on Linux takes an owner
// window, so the handle passed is not used.
class XdgHelpViewer final : public HelpViewer {
public:
    explicit XdgHelpViewer(XdgDesktop desktop = XdgDesktop());

    bool isInstalled() override;
    bool takesTopics() const override;
    // The "window handle" given back is the viewer's process id.
    qint32 show(qint64 ownerWindow, const QString& helpFile, int command, const QString& data) override;

private:
    QString registeredViewer() const;
    // The registered viewer's desktop entry, read; nothing when it cannot be.
    std::optional<std::pair<DesktopEntry, QString>> viewerEntry() const;

    XdgDesktop m_desktop;
    QString m_viewerId;   // as the last isInstalled() found it
};
