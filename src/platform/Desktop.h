#pragma once
#include "DesktopEntry.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <optional>
#include <utility>

// Opens a document with the "open" verb, in the application the desktop has registered
// for it. The status follows the old shell convention: above 32 is success.
class Shell {
public:
    static constexpr qint32 kCouldNotStart = 0;   // the opener itself did not start
    static constexpr qint32 kFileNotFound = 2;
    static constexpr qint32 kPathNotFound = 3;    // the document's folder is missing
    static constexpr qint32 kNoAssociation = 31;  // no application registered for its type
    static constexpr qint32 kOpened = 42;
    static constexpr qint32 kHighestFailure = 32;

    virtual ~Shell() = default;
    // `ownerWindow` is the native handle of the window asking. May run the event loop while
    // it asks the desktop; the application itself runs on its own and is not waited for.
    virtual qint32 open(qint64 ownerWindow, const QString& path) = 0;
};

// The desktop's viewer for compiled help files.
class HelpViewer {
public:
    // Commands of the viewer call.
    static constexpr int kDisplayTopic = 0;
    static constexpr int kKeywordLookup = 13;

    virtual ~HelpViewer() = default;
    // Asked afresh each time: is a viewer registered for compiled help files? May run the
    // event loop while it waits for the desktop's answer.
    virtual bool isInstalled() = 0;
    // Can the viewer that isInstalled() found be sent to a topic? Some open the file at its
    // first page whatever they are given.
    virtual bool takesTopics() const = 0;
    // kDisplayTopic shows topic `data` of `helpFile` (empty: its default topic);
    // kKeywordLookup looks keyword `data` up. Returns a non-zero window handle when the
    // viewer was started, 0 when nothing was shown. Does not wait for the viewer.
    virtual qint32 show(qint64 ownerWindow, const QString& helpFile, int command, const QString& data) = 0;
};

// The desktop's file-type associations and application starts, asked of xdg-utils. Every
// program is started with an argument list, never through a shell. Children get the given
// environment, or the program's own as it is at the time of the call.
class XdgDesktop {
public:
    explicit XdgDesktop(std::optional<QProcessEnvironment> environment = std::nullopt);

    QProcessEnvironment environment() const;
    // The desktop file id registered as the default application for `mimeType`
    // (`xdg-mime query default`); empty when there is none or xdg-mime does not answer.
    // Runs the event loop while it waits (at most 5 s), so callers must expect re-entry.
    QString defaultApplication(const QString& mimeType) const;
    // The same for several types at once, asked in parallel; the answers in their order.
    QStringList defaultApplications(const QStringList& mimeTypes) const;
    // The desktop file of `desktopId` in the XDG data folders; empty when not found.
    QString locateDesktopFile(const QString& desktopId) const;
    // Starts `program` (a path, or a name looked up on the PATH) on its own; its pid, or 0.
    qint64 startDetached(const QString& program, const QStringList& arguments) const;

private:
    QStringList dataFolders(const QProcessEnvironment& env) const;

    std::optional<QProcessEnvironment> m_environment;
};

// "open" through xdg-open. The owner window is not used: xdg-open takes none.
class XdgShell final : public Shell {
public:
    explicit XdgShell(XdgDesktop desktop = XdgDesktop());

    qint32 open(qint64 ownerWindow, const QString& path) override;

private:
    XdgDesktop m_desktop;
};

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
