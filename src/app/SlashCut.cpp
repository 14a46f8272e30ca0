#include "SlashCut.h"

QString trailingSlashCut(const QString& text)
{
    const qsizetype n = text.size();
    if (n < 2)
        return text;
    const qsizetype hit = text.indexOf(u'/', n - 2);
    return hit >= 0 ? text.left(hit) : text;
}
