// What goes on and comes off the wire: the decoders' verdict on hand-built packets and on any
// bytes, the checksum and texts, and addresses to and from socket addresses.
#include "SimulatedPath.h"
#include "icmp/IcmpText.h"
#include "platform/SocketsLayer.h"

#include <net/if.h>
#include <netinet/in.h>

using namespace packets;

namespace {

enum Decoder { IpPacket, Icmpv6Message };

const QByteArray kProbe = icmp::encodeEchoRequest(icmp::Family::V4, 0x1234, 7, 32);
const QByteArray kProbe6 = icmp::encodeEchoRequest(icmp::Family::V6, 0x1234, 7, 32);
const QHostAddress kTarget6("2001:db8:5::2");
constexpr quint32 kTarget = addr(198, 18, 5, 2);

QByteArray reply(int optionBytes = 0) { return ipPacket(kTarget, kHost, 59, echoReplyTo(kProbe), optionBytes); }
QByteArray error(int outerOptions, int quotedOptions, quint8 type = 11, quint8 code = 0, quint32 mtu = 0)
{
    return ipPacket(kRouter, kHost, 62, icmpError(type, kProbe, kTarget, quotedOptions, code, mtu), outerOptions);
}

} // namespace

class TestIcmpWire : public QObject {
    Q_OBJECT
private slots:
    // Fault caught: a decoder that assumes a 20-byte IPv4 header (options ignored, outside or in
    // the quote), takes fragments, foreign protocols, short, corrupt or foreign-version packets
    // for answers, or misreads the identifier, sequence, data size or MTU of an answer. (Any bytes
    // taken for an answer: tests/fuzz/fuzz_icmp.cpp; the reasons counted: tst_icmp_engine.)
    void verdicts_data()
    {
        QTest::addColumn<int>("decoder");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<icmp::Verdict>("verdict");
        QTest::addColumn<icmp::AnswerKind>("kind");
        QTest::addColumn<int>("dataSize");
        QTest::addColumn<quint32>("mtu");
        using V = icmp::Verdict;
        using K = icmp::AnswerKind;
        const auto row = [](const char* name, Decoder d, const QByteArray& b, V v, K k = K::EchoReply, int size = 0,
                            quint32 mtu = 0) { QTest::newRow(name) << int(d) << b << v << k << size << mtu; };
        const QByteArray quote6 = icmpv6Error(3, kProbe6, kTarget6);
        row("v4 echo reply, IP options", IpPacket, reply(8), V::Answer, K::EchoReply, 32);
        row("v4 echo reply, link padding", IpPacket, reply() + QByteArray(6, '\0'), V::Answer, K::EchoReply, 32);
        row("v4 quote with IP options", IpPacket, error(0, 12), V::Answer, K::TimeExceeded);
        row("v4 fragmentation needed", IpPacket, error(0, 0, 3, 4, 1400), V::Answer, K::TooBig, 0, 1400);
        row("v4 parameter problem", IpPacket, error(0, 4, 12), V::Answer, K::ParameterProblem);
        row("v4 net unreachable", IpPacket, error(0, 0, 3, 0), V::Answer, K::Unreachable);
        row("v4 short of its total length", IpPacket, reply().chopped(1), V::Truncated);
        row("v4 header length under 20", IpPacket, patched(reply(), 0, 0x44), V::BadIpHeader);
        row("v6 echo reply", Icmpv6Message, echoReplyTo(kProbe6), V::Answer, K::EchoReply, 32);
        row("v6 time exceeded", Icmpv6Message, quote6, V::Answer, K::TimeExceeded);
        row("v6 packet too big", Icmpv6Message, icmpv6Error(2, kProbe6, kTarget6, 0, 70000), V::Answer, K::TooBig, 0, 70000);
        row("v6 parameter problem", Icmpv6Message, icmpv6Error(4, kProbe6, kTarget6), V::Answer, K::ParameterProblem);
        row("v6 quoting UDP", Icmpv6Message, patched(quote6, 14, 17), V::NotOurProbe);
        row("v6 echo request", Icmpv6Message, kProbe6, V::NotAnAnswer);
    }
    void verdicts()
    {
        QFETCH(int, decoder);
        QFETCH(QByteArray, bytes);
        QFETCH(icmp::Verdict, verdict);
        QFETCH(icmp::AnswerKind, kind);
        QFETCH(int, dataSize);
        QFETCH(quint32, mtu);
        const auto decode = decoder == IpPacket ? icmp::decodeIpPacket : icmp::decodeIcmpv6Message;
        const icmp::Decoded d = decode(icmp::bytesOf(bytes));
        QCOMPARE(d.verdict, verdict);
        const icmp::Answer& a = d.answer;
        const bool echo = kind == icmp::AnswerKind::EchoReply;
        if (verdict == icmp::Verdict::Answer)
            QCOMPARE(std::tuple(a.kind, a.identifier, a.sequence, a.dataSize, a.mtu), std::tuple(kind, quint16(0x1234), quint16(7), dataSize, mtu));
        if (verdict == icmp::Verdict::Answer && decoder == IpPacket)
            QCOMPARE(std::tuple(a.source, a.ttl, a.probeDestination),
                     std::tuple(QHostAddress(echo ? kTarget : kRouter), echo ? 59 : 62, echo ? QHostAddress() : QHostAddress(kTarget)));
    }

    // Fault caught: a link-local or multicast IPv6 address losing its interface on the way to the
    // socket (the datagram socket refuses to send: "Invalid argument") or back from it.
    void socketAddresses_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("scopeIndex");   // sin6_scope_id; -1: an IPv4 address
        const int lo = int(::if_nametoindex("lo"));
        QTest::newRow("IPv4") << "198.18.0.1" << -1;
        QTest::newRow("global") << "2001:db8::1" << 0;
        QTest::newRow("link-local by name") << "fe80::2%lo" << lo;
        QTest::newRow("multicast by name") << "ff02::1%lo" << lo;
        QTest::newRow("by number, no such interface") << "fe80::2%4000000" << 4000000;
    }
    void socketAddresses()
    {
        QFETCH(QString, text);
        QFETCH(int, scopeIndex);
        const QHostAddress address(text);
        socklen_t length = 0;
        const sockaddr_storage s = sockets_layer::socketAddress(address, length);
        const auto* sa = reinterpret_cast<const sockaddr*>(&s);
        const bool v4 = scopeIndex < 0;
        QCOMPARE(std::tuple(int(s.ss_family), length, v4 ? 0 : reinterpret_cast<const sockaddr_in6*>(sa)->sin6_scope_id),
                 std::tuple(v4 ? AF_INET : AF_INET6, socklen_t(v4 ? sizeof(sockaddr_in) : sizeof(sockaddr_in6)), uint32_t(std::max(scopeIndex, 0))));
        // Back again, with the interface's name where it has one. (Through the resolver: tst_hostinput.)
        const auto seen = [](const QHostAddress& a) { return a.toString() + '%' + a.scopeId(); };
        QCOMPARE(seen(sockets_layer::hostAddress(sa, length)), seen(address));
        QVERIFY(sockets_layer::hostAddress(sa, length - 1).isNull());
    }

    // Fault caught: a checksum routers reject (RFC 1071's example; an odd length); trip times with
    // the wrong precision or unit; an ICMP code without a name (routers send any) crashing.
    void checksumAndTexts()
    {
        QCOMPARE(icmp::internetChecksum(icmp::bytesOf(QByteArray::fromHex("0001f203f4f5f6f7"))), quint16(0x220d));
        QCOMPARE(icmp::internetChecksum(icmp::bytesOf(QByteArray::fromHex("01"))), quint16(0xfeff));
        const std::pair<qint64, const char*> trips[] = {{40000, "0.04 ms"}, {1234000, "1.23 ms"}, {12340000, "12.3 ms"},
            {148400000, "148 ms"}, {9996000, "10.0 ms"}, {99960000, "100 ms"}, {-5, "0.00 ms"}};
        for (const auto& [ns, text] : trips)
            QCOMPARE(icmp::tripTimeText(ns), QLatin1String(text));
        QCOMPARE(QStringList({icmp::errorName(icmp::Family::V4, 3, 200), icmp::errorName(icmp::Family::V4, 42, 1),
                              icmp::errorName(icmp::Family::V6, 1, 3), icmp::errorName(icmp::Family::V6, 3, 0)}),
                 QStringList({"Destination unreachable (code 200)", "ICMP error type 42 code 1",
                              "Destination host unreachable", "TTL expired in transit"}));
    }
};

QTEST_MAIN(TestIcmpWire)
#include "tst_icmp_wire.moc"
