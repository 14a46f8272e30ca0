// AS lookups: the query names and the records (hostile ones too) as pure functions, the cache and
// its queries on a held TXT fake, and (as root) the real QDnsLookup adapter against dnsmasq's
// TXT records in a lab namespace this program runs itself in.
#include "Fakes.h"
#include "NetLab.h"
#include "asn/AsnLookup.h"

#include <QCoreApplication>

using namespace asn;

class TestAsn : public QObject {
    Q_OBJECT
private slots:
    // Catches a reversed name built the wrong way round, IPv6 nibbles out of order, a mapped
    // address asked as IPv6, or a private, loopback or multicast address sent to the service.
    void queryNames_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("name");   // empty: not looked up
        QTest::newRow("v4") << "198.18.2.7" << "7.2.18.198.origin.z";
        QTest::newRow("mapped") << "::ffff:198.18.2.7" << "7.2.18.198.origin.z";
        QTest::newRow("v6") << "2001:db8::1" << "1.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.8.b.d.0.1.0.0.2.origin6.z";
        QTest::newRow("public edges") << "100.63.255.1" << "1.255.63.100.origin.z";
        QTest::newRow("172.32") << "172.32.0.1" << "1.0.32.172.origin.z";
        for (const char* skipped : {"127.0.0.1", "::1", "169.254.1.1", "fe80::1", "10.1.2.3", "172.31.255.1", "192.168.1.1",
                                    "100.64.0.1", "100.127.0.1", "fd00::1", "0.0.0.0", "::", "224.0.0.1", "ff02::1",
                                    "255.255.255.255", "::ffff:10.0.0.1", "bogus"})
            QTest::newRow(skipped) << skipped << "";
    }
    void queryNames()
    {
        QFETCH(QString, address);
        QFETCH(QString, name);
        QCOMPARE(isLookedUp(QHostAddress(address)) ? originQueryName(QHostAddress(address), "z") : QString(), name);
    }

    // Catches garbage, a missing field, a prefix that does not hold the address or an AS out of
    // range taken for an answer, a second AS number read as part of the first, a name cut at a pipe.
    void records_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("address");   // an origin record when set, else a name record of AS64500
        QTest::addColumn<QString>("parsed");
        const QByteArray big(4000, 'x');
        QTest::newRow("origin") << QByteArray("64500 | 198.18.2.0/24 | ZZ | lab | 2026-01-01") << "198.18.2.7" << "64500 198.18.2.0/24 ZZ lab";
        QTest::newRow("tight") << QByteArray("64500|198.18.2.0/24") << "198.18.2.7" << "64500 198.18.2.0/24  ";
        QTest::newRow("several AS") << QByteArray("64500 64501 | 198.18.0.0/15 | ZZ | lab") << "198.18.2.7" << "64500 198.18.0.0/15 ZZ lab";
        QTest::newRow("v6") << QByteArray("64502 | 2001:db8::/32 | ZZ | lab | x") << "2001:db8::1" << "64502 2001:db8::/32 ZZ lab";
        QTest::newRow("odd country") << QByteArray("64500 | 198.18.2.0/24 | Z\x01Z | lab") << "198.18.2.7" << "64500 198.18.2.0/24  lab";
        for (const auto& [tag, text] : {std::pair("missing prefix", QByteArray("64500")), {"garbage", "<html>nope</html>"},
                                        {"elsewhere", "64500 | 198.19.0.0/24 | ZZ"}, {"AS 0", "0 | 198.18.2.0/24"},
                                        {"AS too big", "4294967296 | 198.18.2.0/24"}, {"AS sign", "-1 | 198.18.2.0/24"},
                                        {"no length", "64500 | 198.18.2.7 | ZZ"}, {"v6 prefix", "64500 | ::/0 | ZZ"},
                                        {"NUL", QByteArray("64500 | 198.18.2.0/24\0x | ZZ", 28)}, {"4000 bytes", big},
                                        {"4000-byte AS", big + " | 198.18.2.0/24"}})
            QTest::newRow(tag) << text << "198.18.2.7" << "-";
        QTest::newRow("name") << QByteArray("64500 | ZZ | lab | 2026-01-01 | LAB-NET - Lab network, ZZ") << "" << "LAB-NET - Lab network, ZZ";
        QTest::newRow("pipes, controls") << QByteArray("64500 | ZZ | lab | x | A|B\x1b[31m\xe2\x80\xae") << "" << "A|B\x1b[31m\u202e";
        QTest::newRow("4000-byte name") << "64500 | ZZ | lab | x | " + big << "" << QString(199, u'x') + QChar(0x2026);
        QTest::newRow("other AS") << QByteArray("64501 | ZZ | lab | x | OTHER") << "" << "-";
        QTest::newRow("no name") << QByteArray("64500 | ZZ | lab | x | ") << "" << "-";
    }
    void records()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, address);
        const std::optional<OriginRecord> r = parseOriginRecord(text, QHostAddress(address));
        const QString got = address.isEmpty() ? parseAsNameRecord(text, 64500).value_or("-")
            : r ? QStringLiteral("%1 %2/%3 %4 %5").arg(r->asn).arg(r->prefix.first.toString()).arg(r->prefix.second).arg(r->country, r->registry)
                : "-";
        QTEST(got, "parsed");
    }

    // Catches a prefix asked twice, two queries for one address asked twice before its answer,
    // an AS name asked per address, a lost answer holding the queue, a late answer taken after the
    // time-out, lookups made while switched off, or a second query sent from an answer's own signal.
    void cache_data()
    {
        QTest::addColumn<QStringList>("steps");   // ask ADDRESS | answer N TEXT | fail N | wait MS | off | reenter ADDRESS
        QTest::addColumn<QString>("asked");       // names asked | the first address's origin
        const QString o2 = "answer 0 64500 | 198.18.2.0/24 | ZZ | lab", n = "answer 1 64500 | ZZ | lab | x | LAB";
        const QString two = "1.2.18.198.origin.z AS64500.z", known = "AS64500 198.18.2.0/24 ZZ lab";
        QTest::newRow("prefix once") << QStringList{"ask 198.18.2.1", o2, n, "ask 198.18.2.9", "ask 198.18.2.1"} << two + '|' + known + " [LAB]";
        QTest::newRow("shared while asked") << QStringList{"ask 198.18.2.1", "ask 198.18.2.1", "ask 198.18.2.9", o2} << two + '|' + known + " []";
        QTest::newRow("name once per AS") << QStringList{"ask 198.18.2.1", "ask 198.18.3.1", o2, "answer 2 64500 | 198.18.3.0/24"}
                                          << two + " 1.3.18.198.origin.z|" + known + " []";
        QTest::newRow("reentrant") << QStringList{"reenter 198.18.4.1", "ask 198.18.2.1", "ask 198.18.3.1", o2}
                                   << two + " 1.3.18.198.origin.z|" + known + " []";
        QTest::newRow("lost answer") << QStringList{"ask 198.18.2.1", "ask 198.18.3.1", "wait 120", o2, "ask 198.18.2.1"}
                                     << "1.2.18.198.origin.z 1.3.18.198.origin.z|-";
        QTest::newRow("failed") << QStringList{"ask 198.18.2.1", "fail 0", "ask 198.18.2.1"} << "1.2.18.198.origin.z|-";
        QTest::newRow("off, private") << QStringList{"ask 10.0.0.1", "off", "ask 198.18.2.1"} << "|-";
    }
    void cache()
    {
        QFETCH(QStringList, steps);
        FakeTxtLookup dns;
        AsnLookup lookup(dns);
        lookup.setZone("z");
        lookup.setTimeLimitMs(100);
        QHostAddress first;
        for (const QString& step : steps) {
            const QString verb = step.section(u' ', 0, 0), arg = step.section(u' ', 1, 1), rest = step.section(u' ', 2);
            if (verb == "ask")
                lookup.lookUp(QHostAddress(arg)), first = first.isNull() ? QHostAddress(arg) : first;
            else if (verb == "answer" || verb == "fail")
                dns.answer(arg.toUInt(), verb == "fail" ? std::nullopt : std::optional(QByteArrayList{rest.toLatin1()}));
            verb == "wait" ? QTest::qWait(arg.toInt()) : verb == "off" ? lookup.setEnabled(false) : void();
            if (verb == "reenter")
                connect(&lookup, &AsnLookup::changed, this, [&lookup, arg] { lookup.lookUp(QHostAddress(arg)); });
        }
        const std::optional<Origin> o = lookup.originOf(first);
        const QString origin = o ? QStringLiteral("AS%1 %2 %3 %4 [%5]").arg(o->asn).arg(o->prefix, o->country, o->registry, o->name) : "-";
        QTEST(dns.names().join(' ') + '|' + origin, "asked");
    }

    // Catches the real adapter blocking, missing a record or failing on a long or hostile one, or
    // never answering when the name server is silent. Runs in the lab, this program inside.
    void realAdapter()
    {
        if (qEnvironmentVariable("PATHLARK_LAB_MODE") != "lab") {
            NetLab lab("dns");
            NETLAB_REQUIRE(lab);
            QProcess inside;
            inside.setProcessChannelMode(QProcess::ForwardedChannels);
            inside.setEnvironment(QProcess::systemEnvironment() << "PATHLARK_LAB_MODE=lab");
            inside.start("ip", {"netns", "exec", lab.name("h"), QCoreApplication::applicationFilePath(), "realAdapter"});
            QVERIFY(inside.waitForFinished(60000) && inside.exitStatus() == QProcess::NormalExit && inside.exitCode() == 0);
            return;
        }
        QtTxtLookup dns;
        QObject context;
        const std::pair<const char*, QString> cases[] = {
            {"2.2.18.198.origin.asn.lab.test", "64500 | 198.18.2.0/24 | ZZ | lab | 2026-01-01"},
            {"AS64501.asn.lab.test", "64501 | ZZ | lab | x | <b>A|B</b>\t\x1b" "end"},
            {"3.3.18.198.origin.asn.lab.test", "64501 | 198.18.3.0/24 | ZZ | lab | " + QString(3900, u'y')},
            {"4.4.18.198.origin.asn.lab.test", "garbage"}, {"5.5.18.198.origin.asn.lab.test", "(none)"},
            {"1.1.18.198.origin.silent.lab.test", "(failed)"}};
        for (const auto& [name, want] : cases) {
            QString got = "(waiting)";
            QElapsedTimer clock;
            clock.start();
            dns.textsOf(name, &context, [&got](std::optional<QByteArrayList> texts) {
                got = !texts ? "(failed)" : texts->isEmpty() ? "(none)" : QString::fromLatin1(texts->join('/'));
            });
            QVERIFY(clock.elapsed() < 50);
            QTRY_COMPARE_WITH_TIMEOUT(got, want, 8000);
        }
    }
};

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    TestAsn test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_asn.moc"
