#pragma once
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <optional>

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
