#include "AsnText.h"

#include "DisplayText.h"
#include "monitor/PathModel.h"

QString originTip(const asn::Origin& origin)
{
    QString tip = QStringLiteral("AS%1").arg(origin.asn);
    if (!origin.name.isEmpty())
        tip += u' ' + origin.name;
    return oneLineText(tip + QStringLiteral(" (%1)").arg(origin.prefix));
}

QString asColumn(const std::optional<asn::Origin>& origin)
{
    return origin ? QStringLiteral("AS%1").arg(origin->asn) : QString();
}

namespace {

template <typename Visit>
void forEachResponder(const monitor::PathModel& model, Visit visit)
{
    for (int hop = 1; hop <= model.hopCount(); ++hop) {
        for (const monitor::HopStats::Responder& responder : model.hop(hop).responders())
            visit(responder.address);
    }
}

} // namespace

QHash<QHostAddress, monitor::Origin> reportOrigins(const asn::AsnLookup* lookup, const monitor::PathModel& model)
{
    QHash<QHostAddress, monitor::Origin> origins;
    if (!lookup)
        return origins;
    forEachResponder(model, [&](const QHostAddress& address) {
        if (const std::optional<asn::Origin> origin = lookup->originOf(address))
            origins.insert(address, monitor::Origin{origin->asn, origin->name, origin->prefix});
    });
    return origins;
}

void lookUpResponders(asn::AsnLookup* lookup, const monitor::PathModel& model)
{
    if (lookup)
        forEachResponder(model, [lookup](const QHostAddress& address) { lookup->lookUp(address); });
}

std::optional<QHostAddress> rowAddress(const QString& cell)
{
    const QHostAddress address(cell.trimmed());
    if (address.isNull())
        return std::nullopt;
    return address;
}
