#pragma once
#include <QString>

// A host or domain typed with a trailing slash ("example.org/") loses it: the text is
// cut at the first "/" among its last two characters. Shorter texts are kept as they are.
inline QString trailingSlashCut(const QString& text)
{
    const qsizetype n = text.size();
    if (n < 2)
        return text;
    const qsizetype hit = text.indexOf(u'/', n - 2);
    return hit >= 0 ? text.left(hit) : text;
}
