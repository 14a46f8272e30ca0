#include "ControlTable.h"

#include "Form1.h"
#include "Label.h"
#include "MultiLineTextBox.h"
#include "ResultsTable.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>

#include <array>

namespace {

// The default texts of the host, domain and whois-server boxes.
constexpr const char* kWebHost = "www.debian.org";
constexpr const char* kDomain = "debian.org";
constexpr const char* kWhoisServer = "whois.pir.org";   // answers for .org on port 43

using K = ControlKind;
using P = Page;
using F = FontChoice;

constexpr std::array<ColumnSpec, 6> kColumns{{
    {"Hop",   "Hop",               300},
    {"DIP",   "Destination IP",    1800},
    {"DDN",   "Dest. Domain Name", 2381},
    {"Time",  "Trip Time",         700},
    {"Bytes", "Bytes",             400},
    {"TTL",   "TTL",               1440},
}};

} // namespace

std::span<const ColumnSpec> resultColumns() { return kColumns; }

// clang-format off
const std::array<ControlSpec, 31> Form1::kControls{{
// tab name              kind               page          text                                        font          left  top   width height enabled visible buddy         member
{ 0, "cmdPing",          K::Button,         P::Ping,      "Ping",                                     F::Arial,      {6975,  690, 1230,  375}, true,  true,  nullptr, bind<&Form1::cmdPing>},
{ 1, "SSTab1",           K::TabControl,     P::Window,    "",                                         F::Arial,      {  90,  105, 8805, 2295}, true,  true,  nullptr, bind<&Form1::SSTab1>},
{ 2, "cmdCancel",        K::Button,         P::Ping,      "Cancel",                                   F::Arial,      {6975, 1230, 1215,  390}, false, true,  nullptr, bind<&Form1::cmdCancel>},
{ 3, "txtLocal",         K::ReadOnlyTextBox,P::Ping,      "",                                         F::Arial,      {2280, 1200, 4380,  330}, true,  true,  nullptr, bind<&Form1::txtLocal>},
{ 4, "txtRemote",        K::TextBox,        P::Ping,      kWebHost,                                   F::Arial,      {2280,  750, 4380,  330}, true,  true,  nullptr, bind<&Form1::txtRemote>},
{ 5, "Label2",           K::AutoSizeLabel,  P::Ping,      "This Computer's IP number:",               F::Arial,      { 330, 1260, 1950,  210}, true,  true,  "txtLocal", bind<&Form1::Label2>},
{ 6, "Label1",           K::AutoSizeLabel,  P::Ping,      "Remote Host: http://",                     F::Arial,      { 840,  810, 1410,  210}, true,  true,  "txtRemote", bind<&Form1::Label1>},
{ 7, "ListView1",        K::ResultsTable,   P::Window,    "",                                         F::Arial,      {  75, 2520, 8835, 2640}, true,  true,  nullptr, bind<&Form1::ListView1>},
{ 8, "lblCaption",       K::FixedLabel,     P::Ping,      "",                                         F::WindowFont, { 270, 1710, 6390,  285}, true,  true,  nullptr, bind<&Form1::lblCaption>},
{ 9, "lblCaptionTrace",  K::FixedLabel,     P::Traceroute,"",                                         F::WindowFont, { 270, 1710, 6390,  285}, true,  true,  nullptr, bind<&Form1::lblCaptionTrace>},
{10, "DoLookup",         K::Button,         P::DnsLookup, "Lookup",                                   F::Arial,      {6975,  690, 1230,  375}, true,  true,  nullptr, bind<&Form1::DoLookup>},
{11, "DNSHost",          K::TextBox,        P::DnsLookup, kWebHost,                                   F::Arial,      {2280,  750, 4380,  330}, true,  true,  nullptr, bind<&Form1::DNSHost>},
{12, "HostResponse",     K::MultiLineTextBox,P::Window,   "",                                         F::CourierNew, {  90, 2535, 8805, 2625}, true,  true,  nullptr, bind<&Form1::HostResponse>},
{13, "ReceiveWindow",    K::MultiLineTextBox,P::Window,   "",                                         F::WindowFont, { 810, 4830, 6495,  360}, true,  false, nullptr, bind<&Form1::ReceiveWindow>},
{14, "Label5",           K::AutoSizeLabel,  P::DnsLookup, "This Computer's IP number:",               F::Arial,      { 330, 1260, 1950,  210}, true,  true,  "txtLocalDNS", bind<&Form1::Label5>},
{15, "Label6",           K::AutoSizeLabel,  P::DnsLookup, "Remote Host: http://",                     F::Arial,      { 840,  810, 1410,  210}, true,  true,  "DNSHost", bind<&Form1::Label6>},
{16, "txtLocalDNS",      K::ReadOnlyTextBox,P::DnsLookup, "",                                         F::Arial,      {2280, 1200, 4380,  330}, true,  true,  nullptr, bind<&Form1::txtLocalDNS>},
{17, "lblCaptionDNS",    K::FixedLabel,     P::DnsLookup, "",                                         F::WindowFont, { 270, 1710, 6390,  285}, true,  true,  nullptr, bind<&Form1::lblCaptionDNS>},
{18, "Command1",         K::Button,         P::Whois,     "Do Query",                                 F::Arial,      {5565, 1305, 1095,  375}, true,  true,  nullptr, bind<&Form1::Command1>},
{19, "Text3",            K::TextBox,        P::Whois,     "43",                                       F::Arial,      { 915, 1350, 3135,  315}, true,  true,  nullptr, bind<&Form1::Text3>},
{20, "Text2",            K::TextBox,        P::Whois,     kWhoisServer,                               F::Arial,      {4545,  750, 3135,  315}, true,  true,  nullptr, bind<&Form1::Text2>},
{21, "Text1",            K::TextBox,        P::Whois,     kDomain,                                    F::Arial,      { 930,  750, 3135,  315}, true,  true,  nullptr, bind<&Form1::Text1>},
{22, "Label7",           K::FixedLabel,     P::Whois,     "Port Number WhoIs Server Is Listening On:",F::Arial,      { 930, 1110, 3135,  255}, true,  true,  "Text3", bind<&Form1::Label7>},
{23, "Label8",           K::AutoSizeLabel,  P::Whois,     "WhoIs Server to Query",                    F::Arial,      {4545,  510, 1665,  210}, true,  true,  "Text2", bind<&Form1::Label8>},
{24, "Label9",           K::AutoSizeLabel,  P::Whois,     "Domain Name to Lookup:",                   F::Arial,      { 930,  510, 1770,  210}, true,  true,  "Text1", bind<&Form1::Label9>},
{25, "cmdTraceroute",    K::Button,         P::Traceroute,"Trace Route",                              F::Arial,      {6975,  690, 1230,  375}, true,  true,  nullptr, bind<&Form1::cmdTraceroute>},
{26, "cmdCancelTrace",   K::Button,         P::Traceroute,"Cancel",                                   F::Arial,      {6975, 1230, 1215,  390}, false, true,  nullptr, bind<&Form1::cmdCancelTrace>},
{27, "txtRemoteTrace",   K::TextBox,        P::Traceroute,kWebHost,                                   F::Arial,      {2280,  750, 4380,  330}, true,  true,  nullptr, bind<&Form1::txtRemoteTrace>},
{28, "Label3",           K::AutoSizeLabel,  P::Traceroute,"Remote Host: http://",                     F::Arial,      { 840,  810, 1410,  210}, true,  true,  "txtRemoteTrace", bind<&Form1::Label3>},
{29, "txtLocalTrace",    K::ReadOnlyTextBox,P::Traceroute,"",                                         F::Arial,      {2280, 1200, 4380,  330}, true,  true,  nullptr, bind<&Form1::txtLocalTrace>},
{30, "Label4",           K::AutoSizeLabel,  P::Traceroute,"This Computer's IP number:",               F::Arial,      { 330, 1260, 1950,  210}, true,  true,  "txtLocalTrace", bind<&Form1::Label4>},
}};
// clang-format on
