#pragma once
#include <QByteArray>
#include <QHostAddress>
#include <QString>
#include <QUrl>

#include <algorithm>
#include <optional>

// A host as the resolver is given it, by the same rule as the window's pages: ASCII text as
// typed, a name in another script in its ASCII (IDNA) form, the one its zone holds; nothing when
// it has none, so nobody need be asked.
inline std::optional<QByteArray> asciiHostName(const QString& typed)
{
    const bool ascii = std::all_of(typed.cbegin(), typed.cend(), [](QChar c) { return c.unicode() < 0x80; });
    if (ascii || QHostAddress(typed).protocol() != QAbstractSocket::UnknownNetworkLayerProtocol)
        return typed.toUtf8();
    const QByteArray ace = QUrl::toAce(typed);
    return ace.isEmpty() ? std::nullopt : std::optional(ace);
}
