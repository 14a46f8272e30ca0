#pragma once
#include <QString>
#include <QStringList>

#include <optional>

class QByteArray;

// What starting an application needs from its desktop file's [Desktop Entry] group.
struct DesktopEntry {
    QString exec;
    QString icon;
    QString name;
};

// Reads the [Desktop Entry] group of a desktop file. Nullopt when the group or its Exec
// key is missing, or the entry is hidden or no application.
std::optional<DesktopEntry> parseDesktopEntry(const QByteArray& text);

// Splits an Exec value into the program and its arguments by the desktop-entry quoting
// rules. Nullopt when it is malformed: an open quote, a control character, no program.
std::optional<QStringList> splitExecLine(const QString& exec);

// Expands the field codes of split Exec arguments. `fileArgs` stand where the first file
// code (%f %F %u %U) stands, or are appended when there is none.
QStringList expandFieldCodes(const QStringList& args, const QStringList& fileArgs, const DesktopEntry& entry,
                             const QString& desktopFilePath);
