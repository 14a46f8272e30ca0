// The ICMP decoders on any bytes, and the checksum and texts the control shows. What the
// decoders make of real answers and of strangers' packets: tst_icmp_engine and tst_icmp_real.
#include "PacketBuilder.h"
#include "icmp/IcmpText.h"

#include <QRandomGenerator>
#include <QtTest>

using namespace packets;

class TestIcmpCodec : public QObject {
    Q_OBJECT
private slots:
    // Fault caught: a decoder reading outside the bytes (the sanitizers' build stops there), or
    // calling an answer what they do not hold: every cut of real packets, with a byte changed.
    void anyBytes()
    {
        const QByteArray probe = icmp::encodeEchoRequest(icmp::Family::V4, 0x1234, 7, 32);
        const QByteArray probe6 = icmp::encodeEchoRequest(icmp::Family::V6, 0x1234, 7, 32);
        const QByteArray seeds[] = {ipPacket(addr(198, 18, 5, 2), kHost, 59, echoReplyTo(probe), 8), echoReplyTo(probe6),
                                    ipPacket(kRouter, kHost, 62, icmpError(11, probe, addr(198, 18, 5, 2), 12)),
                                    icmpv6Error(3, probe6, QHostAddress("2001:db8:5::2"))};
        QRandomGenerator random(7);
        for (int round = 0; round < 20000; ++round) {
            const QByteArray& seed = seeds[round % 4];
            std::vector<std::uint8_t> bytes(seed.begin(), seed.begin() + random.bounded(int(seed.size()) + 1));
            if (!bytes.empty() && round % 3)
                bytes[random.bounded(int(bytes.size()))] = std::uint8_t(random.bounded(256));
            const std::span<const std::uint8_t> b(bytes);   // exactly its size: a read past it is caught
            const icmp::Decoded message = icmp::decodeIcmpMessage(b);
            QVERIFY(message.verdict != icmp::Verdict::Answer || icmp::internetChecksum(b) == 0);
            for (const icmp::Decoded& d : {icmp::decodeIpPacket(b), message, icmp::decodeIcmpv6Message(b),
                                           icmp::decodeQueuedError(icmp::Family::V6, b, quint8(round), 0)})
                QVERIFY(d.verdict != icmp::Verdict::Answer || size_t(d.answer.dataSize) + icmp::kHeaderSize <= bytes.size());
        }
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
        QCOMPARE(icmp::errorName(icmp::Family::V4, 3, 200), QStringLiteral("Destination unreachable (code 200)"));
        QCOMPARE(icmp::errorName(icmp::Family::V4, 42, 1), QStringLiteral("ICMP error type 42 code 1"));
        QCOMPARE(icmp::errorName(icmp::Family::V6, 1, 3), QStringLiteral("Destination host unreachable"));
        QCOMPARE(icmp::errorName(icmp::Family::V6, 3, 0), QStringLiteral("TTL expired in transit"));
    }
};

QTEST_APPLESS_MAIN(TestIcmpCodec)
#include "tst_icmp_codec.moc"
