#pragma once
#include <QByteArray>
#include <QString>

#include <functional>

class FileDialog;
class MessageBox;
class QAbstractScrollArea;
class ResultsTable;

// Getting results out of the window: Copy (also Ctrl+C), Copy All, Select All and Save As…
// in the context menu of the results table and of the text box.

// The table as text: the column headers, then its rows (the selected ones only, if asked), in
// their order; cells separated by tabs, lines ending in "\n".
QString tableText(const ResultsTable& table, bool selectedOnly);

// Gives `view` the four actions. `text(all)` is what they copy or save: the selection, or all.
// Save As asks `files` where to save and writes UTF-8; a failure is told through `messages`.
// Writes `bytes` to `path` whole or not at all: an old file there stays as it was until the new
// one is complete. Empty on success, else why not.
QString saveWhole(const QString& path, const QByteArray& bytes);

void addCopyAndSave(QAbstractScrollArea* view, std::function<QString(bool all)> text, FileDialog& files,
                    MessageBox& messages);
