#pragma once
#include <QString>

// A host or domain typed with a trailing slash ("example.org/") loses it: the text is
// cut at the first "/" among its last two characters. Shorter texts are kept as they are.
QString trailingSlashCut(const QString& text);
