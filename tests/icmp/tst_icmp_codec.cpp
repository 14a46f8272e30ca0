// The pure ICMP encoder/decoder and the texts the control shows.
#include "PacketBuilder.h"
#include "icmp/IcmpText.h"

#include <QtTest>

using namespace packets;

namespace {

// How the bytes reached us: a raw IPv4 socket, an IPv4 datagram socket, an ICMPv6 socket, or
// a datagram socket's error queue with an error of type 11 (or type 0, which is no error).
enum Framing { Ip, Icmp, Icmp6, Queued11, Queued0 };

// The verdict, and for an answer every field the engine uses.
QString summary(const icmp::Decoded& d)
{
    static const char* const verdicts[] = {"Answer", "Truncated", "BadIpHeader", "NotIcmp",
                                           "BadChecksum", "NotAnAnswer", "NotOurProbe"};
    static const char* const kinds[] = {"reply", "exceeded", "unreachable", "other"};
    if (d.verdict != icmp::Verdict::Answer)
        return QLatin1String(verdicts[int(d.verdict)]);
    const icmp::Answer& a = d.answer;
    return QStringLiteral("%1 %2/%3 id %4 #%5 %6>%7 ttl %8 data %9").arg(kinds[int(a.kind)]).arg(a.type).arg(a.code)
        .arg(a.identifier, 0, 16).arg(a.sequence).arg(a.source.toString(), a.probeDestination.toString()).arg(a.ttl)
        .arg(a.dataSize);
}

} // namespace

class TestIcmpCodec : public QObject {
    Q_OBJECT
private slots:
    // Fault caught: probes with a wrong layout or checksum (our echo requests and replies to them
    // go through the decoder); answers misread (wrong fields, IHL ignored, quoted header not
    // bounds-checked), or packets that are not answers to our probes taken for one.
    void decode_data()
    {
        QTest::addColumn<int>("framing");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("expected");
        const QByteArray probe = icmp::encodeEchoRequest(icmp::Family::V4, 0x1234, 7, 32);
        const QByteArray probe6 = icmp::encodeEchoRequest(icmp::Family::V6, 0x1234, 7, 32);
        const QHostAddress target6("2001:db8:5::2");
        const QByteArray reply = echoReplyTo(probe);
        const QByteArray ipReply = ipPacket(kTarget, kHost, 59, reply);
        const auto fromRouter = [](const QByteArray& m) { return ipPacket(kRouter, kHost, 62, m); };
        const QByteArray exceeded = icmpError(11, 0, probe);
        const QString echo = "reply 0/0 id 1234 #7 198.18.5.2> ttl 59 data 32";
        const QString quoting = " id 1234 #7 198.18.3.1>198.18.5.2 ttl 62 data 0";
        const auto row = [](const char* name, int f, const QByteArray& b, const QString& expected) {
            QTest::newRow(name) << f << b << expected;
        };
        row("echo reply in IP", Ip, ipReply, echo);
        row("echo reply with IP options", Ip, ipPacket(kTarget, kHost, 59, reply, 8), echo);
        row("link padding after the packet", Ip, ipReply + QByteArray(6, '\0'), echo);
        row("echo reply, datagram", Icmp, reply, "reply 0/0 id 1234 #7 > ttl -1 data 32");
        row("high identifier and sequence", Icmp, echoReplyTo(icmp::encodeEchoRequest(icmp::Family::V4, 0xbeef, 0xfffe, 0)),
            "reply 0/0 id beef #65534 > ttl -1 data 0");
        row("oversized echo reply", Icmp, echoReplyTo(icmp::encodeEchoRequest(icmp::Family::V4, 0x1234, 7, 60000)),
            "reply 0/0 id 1234 #7 > ttl -1 data 60000");
        row("time exceeded quoting our probe", Ip, fromRouter(exceeded), "exceeded 11/0" + quoting);
        row("quoted header with options", Ip, fromRouter(icmpError(11, 0, probe, 12)), "exceeded 11/0" + quoting);
        row("host unreachable", Ip, fromRouter(icmpError(3, 1, probe)), "unreachable 3/1" + quoting);
        row("reassembly time exceeded", Ip, fromRouter(icmpError(11, 1, probe)), "other 11/1" + quoting);
        row("parameter problem", Ip, fromRouter(icmpError(12, 0, probe)), "other 12/0" + quoting);
        row("queued time exceeded", Queued11, probe, "exceeded 11/0 id 1234 #7 > ttl -1 data 0");
        row("ICMPv6 echo reply", Icmp6, echoReplyTo(probe6), "reply 129/0 id 1234 #7 > ttl -1 data 32");
        row("ICMPv6 hop limit exceeded", Icmp6, icmpv6Error(3, 0, probe6, target6),
            "exceeded 3/0 id 1234 #7 >2001:db8:5::2 ttl -1 data 0");
        row("ICMPv6 address unreachable", Icmp6, icmpv6Error(1, 3, probe6, target6),
            "unreachable 1/3 id 1234 #7 >2001:db8:5::2 ttl -1 data 0");
        row("ICMPv6 packet too big", Icmp6, icmpv6Error(2, 0, probe6, target6),
            "other 2/0 id 1234 #7 >2001:db8:5::2 ttl -1 data 0");
        // Not ours, or not whole: never an answer.
        row("someone's echo request", Ip, ipPacket(kHost, kTarget, 64, probe), "NotAnAnswer");
        row("queued, no error type", Queued0, probe, "NotAnAnswer");
        row("error about a UDP packet", Ip, fromRouter(withIcmpChecksum(patched(exceeded, 17, 17))), "NotOurProbe");
        row("error about an echo reply", Ip, fromRouter(icmpError(3, 1, reply)), "NotOurProbe");
        row("quote cut inside the probe header", Ip, fromRouter(withIcmpChecksum(exceeded.left(32))), "Truncated");
        row("quoted IHL past the end", Ip, fromRouter(withIcmpChecksum(patched(exceeded, 8, 0x4f))), "Truncated");
        row("cut before its total length", Ip, ipReply.left(30), "Truncated");
        row("ICMP header cut", Icmp, reply.left(5), "Truncated");
        row("empty", Ip, {}, "Truncated");
        row("corrupted data", Ip, patched(ipReply, 30, quint8(ipReply[30]) ^ 0x55u), "BadChecksum");
        row("version 6", Ip, patched(ipReply, 0, 0x65), "BadIpHeader");
        row("IHL under 20 bytes", Ip, patched(ipReply, 0, 0x44), "BadIpHeader");
        row("total length under the IHL", Ip, patched(ipReply, 2, 16, 2), "BadIpHeader");
        row("first fragment", Ip, patched(ipReply, 6, 0x20), "BadIpHeader");
        row("UDP", Ip, patched(ipReply, 9, 17), "NotIcmp");
        row("ICMPv6 echo request", Icmp6, probe6, "NotAnAnswer");
        row("ICMPv6 error about UDP", Icmp6, patched(icmpv6Error(3, 0, probe6, target6), 14, 17), "NotOurProbe");
        row("ICMPv6 error quoting IPv4", Icmp6, patched(icmpv6Error(3, 0, probe6, target6), 8, 0x45), "BadIpHeader");
        row("ICMPv6 quote cut short", Icmp6, icmpv6Error(3, 0, probe6, target6).left(50), "Truncated");
        row("ICMPv6 error about an echo reply", Icmp6, icmpv6Error(3, 0, echoReplyTo(probe6), target6), "NotOurProbe");
    }
    void decode()
    {
        QFETCH(int, framing);
        QFETCH(QByteArray, bytes);
        const auto b = icmp::bytesOf(bytes);
        const icmp::Decoded d = framing == Ip ? icmp::decodeIpPacket(b)
            : framing == Icmp                 ? icmp::decodeIcmpMessage(b)
            : framing == Icmp6                ? icmp::decodeIcmpv6Message(b)
                                              : icmp::decodeQueuedError(icmp::Family::V4, b, framing == Queued11 ? 11 : 0, 0);
        QTEST(summary(d), "expected");
    }

    // Fault caught: a checksum a router would reject (RFC 1071's example words; an odd length);
    // trip times with the wrong precision or unit (rounding up a digit, a clock set back); an
    // ICMP code without a name (a router may send any) crashing the name lookup.
    void checksumAndTexts()
    {
        QCOMPARE(icmp::internetChecksum(icmp::bytesOf(QByteArray::fromHex("0001f203f4f5f6f7"))), quint16(0x220d));
        QCOMPARE(icmp::internetChecksum(icmp::bytesOf(QByteArray::fromHex("01"))), quint16(0xfeff));
        const std::pair<qint64, const char*> trips[] = {{40000, "0.04 ms"}, {1234000, "1.23 ms"}, {12340000, "12.3 ms"},
            {148400000, "148 ms"}, {9996000, "10.0 ms"}, {99960000, "100 ms"}, {-5, "0.00 ms"}};
        for (const auto& [ns, text] : trips)
            QCOMPARE(icmp::tripTimeText(ns), QLatin1String(text));
        QCOMPARE(icmp::errorName(icmp::Family::V4, 3, 200), QStringLiteral("Destination unreachable (code 200)"));
        QCOMPARE(icmp::errorName(icmp::Family::V4, 42, 1), QStringLiteral("ICMP error type 42 code 1"));
        QCOMPARE(icmp::errorName(icmp::Family::V6, 1, 3), QStringLiteral("Destination host unreachable"));
        QCOMPARE(icmp::errorName(icmp::Family::V6, 3, 0), QStringLiteral("TTL expired in transit"));
    }
};

QTEST_APPLESS_MAIN(TestIcmpCodec)
#include "tst_icmp_codec.moc"
