// The packed host entry: packing, decoding and the lines the result box gets.
#include "dns/HostEntDecode.h"
#include "dns/HostEntLayout.h"
#include "dns/HostEntPack.h"
#include "dns/HostEntText.h"

#include <QtEndian>
#include <QtTest>

using namespace hostent_layout;

namespace {

QByteArray ip(int a, int b, int c, int d)
{
    const char bytes[] = {char(a), char(b), char(c), char(d)};
    return QByteArray(bytes, 4);
}

QByteArray le32(quint32 v)
{
    QByteArray b(4, '\0');
    qToLittleEndian(v, b.data());
    return b;
}

// A 1040-byte buffer written field by field, independent of the packer.
struct Raw {
    QByteArray bytes = QByteArray(kBufferSize, '\0');
    Raw& put(int at, const QByteArray& s)
    {
        bytes.replace(at, s.size(), s);
        return *this;
    }
};

// Name at 200, alias list at 40, address list at 80, addresses from 120, alias texts from 400.
Raw raw(const QByteArray& name, const QList<QByteArray>& aliases = {},
        const QList<QByteArray>& addresses = {ip(1, 2, 3, 4)})
{
    Raw e;
    e.put(kNameField, le32(200)).put(200, name).put(kAliasesField, le32(40)).put(kAddrListField, le32(80));
    e.put(kAddrTypeField, QByteArray("\x02\x00\x04\x00", 4));
    for (int i = 0, at = 400; i < aliases.size(); at += int(aliases[i++].size()) + 1)
        e.put(40 + 4 * i, le32(at)).put(at, aliases[i]);
    for (int i = 0; i < addresses.size(); ++i)
        e.put(80 + 4 * i, le32(120 + 4 * i)).put(120 + 4 * i, addresses[i]);
    return e;
}

// What the packer makes of an entry; nothing when it does not fit.
QByteArray packed(const HostEntry& entry)
{
    QByteArray buffer(kBufferSize, '\0');
    return packHostEntry(entry, std::span<char>(buffer.data(), buffer.size())).error ? QByteArray() : buffer;
}

} // namespace

class TestHostEnt : public QObject {
    Q_OBJECT
private slots:
    // Catches a misread layout, wrong lines, reads outside the buffer, or a packing the decoder cannot read.
    void decode_data()
    {
        QTest::addColumn<QByteArray>("buffer");
        QTest::addColumn<QString>("text");
        const QString none = QStringLiteral("IP: \r\nHost Name: ");
        const QString some = QStringLiteral("IP:  1.2.3.4\r\nHost Name: ");
        QTest::newRow("one address, first byte 0") << raw("a", {}, {ip(0, 128, 255, 7)}).bytes
                                                   << "IP:  0.128.255.7\r\nHost Name: a";
        QTest::newRow("several addresses: the first only") << raw("m", {}, {ip(1, 2, 3, 4), ip(5, 6, 7, 8)}).bytes
                                                           << some + "m";
        QTest::newRow("three aliases in order")
            << raw("r", {"w", "b\xc3\xbc", "x"}).bytes
            << some + QStringLiteral("r\r\nHost Alias: w\r\nHost Alias: bü\r\nHost Alias: x");
        QTest::newRow("empty official name") << raw("").bytes << some;
        QTest::newRow("name without NUL before the end")
            << raw("").put(kNameField, le32(kBufferSize - 3)).put(kBufferSize - 3, "xyz").bytes << some + "xyz";
        QTest::newRow("name longer than its span")
            << raw(QByteArray(300, 'n')).bytes << some + QString(kNameSpan, u'n');
        QTest::newRow("pointers past the end, all ones, into the header")
            << raw("w", {"a"}).put(0, le32(5000) + le32(~0u)).put(kAddrListField, le32(8)).bytes << none;
        QTest::newRow("alias pointer out of the data area ends the list")
            << raw("c", {"a", "b"}).put(44, le32(kBufferSize)).bytes << some + "c\r\nHost Alias: a";
        QTest::newRow("alias list running into the end")
            << raw("e").put(kAliasesField, le32(kBufferSize - 4)).put(kBufferSize - 4, le32(200)).bytes
            << some + "e\r\nHost Alias: e";
        QTest::newRow("address running past the end") << raw("d").put(80, le32(kBufferSize - 2)).bytes << none + "d";
        QTest::newRow("address length -4") << raw("o").put(kLengthField, "\xfc\xff").bytes << none + "o";
        QTest::newRow("address length 17") << raw("o").put(kLengthField, "\x11").bytes << none + "o";
        QTest::newRow("shorter than the header") << QByteArray("\x10\x00\x00", 3) << none;
        QTest::newRow("packed: aliases") << packed({"real", {"www", "mid"}, 2, 4, {ip(1, 2, 3, 4)}})
                                         << some + "real\r\nHost Alias: www\r\nHost Alias: mid";
        QTest::newRow("packed: several addresses, longest name")
            << packed({QByteArray(255, 'q'), {}, 2, 4, {ip(1, 2, 3, 4), ip(0, 0, 0, 0)}}) << some + QString(255, u'q');
    }
    void decode()
    {
        QFETCH(QByteArray, buffer);
        QFETCH(QString, text);
        QCOMPARE(hostEntryPieces(decodeHostEntry(buffer)).join(QString()), text);
    }

    // Catches an overflow of the caller's buffer, or a wrong needed length, for a big entry.
    void tooBigForTheBuffer()
    {
        HostEntry crowd{"crowd.test", {}, 2, 4, {ip(198, 18, 53, 31)}};
        for (int i = 0; i < 150; ++i)
            crowd.aliases << "alias" + QByteArray::number(i) + ".crowd.test";
        QByteArray guarded(kBufferSize + 64, '\x5a');
        const PackResult result = packHostEntry(crowd, std::span<char>(guarded.data() + 32, kBufferSize));
        QCOMPARE(result.error, WSAENOBUFS);
        QCOMPARE(guarded, QByteArray(kBufferSize + 64, '\x5a'));
        // The needed length is exact: it fits, one byte less does not.
        QByteArray sized(result.length, '\0');
        QCOMPARE(packHostEntry(crowd, std::span<char>(sized.data(), sized.size() - 1)).error, WSAENOBUFS);
        QCOMPARE(packHostEntry(crowd, std::span<char>(sized.data(), sized.size())).error, quint16(0));
        QCOMPARE(decodeHostEntry(sized).aliases, crowd.aliases);
    }
};

QTEST_APPLESS_MAIN(TestHostEnt)
#include "tst_hostent.moc"
