#pragma once
#include "asn/AsnLookup.h"
#include "monitor/Report.h"

// What the window shows of an address's AS: the tooltip line of a row and the monitor's column,
// and the origins a report is given.
QString originTip(const asn::Origin& origin);   // "AS64500 LAB-NET - Lab network, ZZ (198.18.2.0/24)"
QString asColumn(const std::optional<asn::Origin>& origin);   // "AS64500", or empty

// The origins known for the responders of every hop, as the monitor's reports take them.
QHash<QHostAddress, monitor::Origin> reportOrigins(const asn::AsnLookup* lookup, const monitor::PathModel& model);
// Asks for the origin of every responder of the model not asked yet.
void lookUpResponders(asn::AsnLookup* lookup, const monitor::PathModel& model);

// The rows of the tables hold an address as text; these are the addresses Whois This Address takes.
std::optional<QHostAddress> rowAddress(const QString& cell);
