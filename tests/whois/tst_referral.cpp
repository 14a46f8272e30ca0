// The referrals of whois answers without a network: which lines point on, where a referral may go,
// the query a referred server gets, and the chain's steps and text.
#include "whois/Referral.h"
#include "whois/ReferralChain.h"
#include "whois/ReferralSafety.h"

#include <QtTest>

using namespace whois;

namespace {

QString shown(const std::optional<Referral>& r)
{
    return r ? QStringLiteral("%1 %2").arg(r->host).arg(r->port) : QString();
}

} // namespace

class TestReferral : public QObject {
    Q_OBJECT
private slots:
    void findReferral_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("asked");
        QTest::addColumn<QString>("found");
        // Catches a form of pointer missed, or its host or port misread.
        QTest::newRow("root refer") << QByteArray("% IANA WHOIS server\n\nrefer:        whois.verisign-grs.com\n\ndomain:       COM\n")
                                    << "whois.iana.org" << "whois.verisign-grs.com 43";
        QTest::newRow("root, address") << QByteArray("refer:        whois.arin.net\r\n\r\ninetnum:      198.0.0.0 - 198.255.255.255\r\n")
                                       << "whois.iana.org" << "whois.arin.net 43";
        QTest::newRow("root whois: only") << QByteArray("domain:       TEST\nwhois:        Whois.Nic.Test.\n") << "whois.iana.org" << "whois.nic.test 43";
        QTest::newRow("thin registry") << QByteArray("   Domain Name: EXAMPLE.COM\r\n   Registry Domain ID: 2336799_DOMAIN_COM-VRSN\r\n"
                                                     "   Registrar WHOIS Server: whois.example-registrar.test\r\n")
                                       << "whois.verisign-grs.com" << "whois.example-registrar.test 43";
        QTest::newRow("thin, old form") << QByteArray("Domain Name: EXAMPLE.NET\nWhois Server: WHOIS.OLD-REGISTRAR.TEST\n") << "r.test" << "whois.old-registrar.test 43";
        QTest::newRow("ReferralServer whois") << QByteArray("NetRange: 198.18.0.0 - 198.19.255.255\nReferralServer:  whois://whois.ripe.net\n")
                                              << "whois.arin.net" << "whois.ripe.net 43";
        QTest::newRow("rwhois, port, path") << QByteArray("ReferralServer:  rwhois://rwhois.example.test:4321/\n") << "whois.arin.net" << "rwhois.example.test 4321";
        QTest::newRow("rwhois, no port") << QByteArray("ReferralServer: rwhois://rwhois.example.test\n") << "whois.arin.net" << "rwhois.example.test 4321";
        QTest::newRow("address and port") << QByteArray("ReferralServer: whois://198.18.7.7:43/\n") << "whois.arin.net" << "198.18.7.7 43";
        QTest::newRow("IPv6 in brackets") << QByteArray("ReferralServer: whois://[2001:DB8::7]:4321\n") << "whois.arin.net" << "2001:db8::7 4321";
        QTest::newRow("referto") << QByteArray("% referto: whois -h whois.arin.net -p 43 AS 1\n") << "whois.ripe.net" << "whois.arin.net 43";
        QTest::newRow("last line, no line end") << QByteArray("x\nrefer: whois.nic.test") << "whois.iana.org" << "whois.nic.test 43";
        QTest::newRow("unsafe port still read") << QByteArray("ReferralServer: whois://whois.x.test:8080\n") << "a.test" << "whois.x.test 8080";
        QTest::newRow("same server skipped") << QByteArray("refer: WHOIS.IANA.ORG.\nwhois: whois.nic.test\n") << "whois.iana.org" << "whois.nic.test 43";
        // Catches look-alikes followed: comments, the server itself, other schemes, hosts no host can have.
        QTest::newRow("comment lines") << QByteArray("% refer: whois.evil.test\n# ReferralServer: whois://whois.evil.test\n%whois: e.test\n")
                                       << "whois.iana.org" << "";
        QTest::newRow("only the same server") << QByteArray("refer: whois.iana.org\n") << "whois.iana.org" << "";
        QTest::newRow("same address") << QByteArray("ReferralServer: whois://[2001:db8:0::7]\n") << "2001:db8::7" << "";
        QTest::newRow("https URL") << QByteArray("ReferralServer: https://rdap.example.test/\nrefer: http://www.example.test/\n") << "a.test" << "";
        QTest::newRow("registrar URL") << QByteArray("Domain Name: X.TEST\nRegistrar WHOIS Server: http://www.registrar.test\n") << "a.test" << "";
        QTest::newRow("no scheme in ReferralServer") << QByteArray("ReferralServer: whois.x.test\n") << "a.test" << "";
        QTest::newRow("registrar before record") << QByteArray("Registrar WHOIS Server: whois.x.test\nDomain Name: X\n") << "a.test" << "";
        QTest::newRow("empty value") << QByteArray("Domain Name: X\nRegistrar WHOIS Server: \nrefer:\n") << "a.test" << "";
        const QByteArray three = QByteArray(63, 'a').append('.').repeated(3);   // 192 characters
        QTest::newRow("overlong host") << "refer: " + three + QByteArray(62, 'b') + "\n" << "a.test" << "";
        QTest::newRow("longest host") << "refer: " + three + QByteArray(61, 'b') + "\n" << "a.test" << QString::fromLatin1(three + QByteArray(61, 'b') + " 43");
        QTest::newRow("overlong label") << "refer: " + QByteArray(64, 'a') + ".test\n" << "a.test" << "";
        QTest::newRow("markup in host") << QByteArray("refer: whois.evil.test<b>\nrefer: -\nrefer: a..test\n") << "a.test" << "";
        QTest::newRow("bad ports") << QByteArray("ReferralServer: whois://h.test:99999\nReferralServer: whois://h.test:0\nReferralServer: whois://h.test:\n")
                                   << "a.test" << "";
        QTest::newRow("indented or mid-line") << QByteArray("  refer: x.test\nremarks: see refer: y.test\n") << "a.test" << "";
        QTest::newRow("beyond the first MiB") << QByteArray(kReferralScanBytes, '\n') + "refer: x.test\n" << "a.test" << "";
        QTest::newRow("referto cut short") << QByteArray("% referto: whois -h whois.arin.net\n% referto: whois -x h.test -p 43 q\n") << "a.test" << "";
    }
    void findReferral()
    {
        QFETCH(QByteArray, answer);
        QFETCH(QString, asked);
        QFETCH(QString, found);
        QCOMPARE(shown(whois::findReferral(answer, {asked, 43})), found);
    }

    void safety_data()
    {
        QTest::addColumn<QString>("to");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("refusal");
        using R = Refusal;
        // Catches a referral let through to this computer, the local network or no host at all.
        for (const auto& [to, why] : {std::pair("127.0.0.1", R::Loopback), {"127.8.9.10", R::Loopback}, {"::1", R::Loopback},
                                      {"::ffff:127.0.0.1", R::Loopback}, {"169.254.1.1", R::LinkLocal}, {"fe80::1", R::LinkLocal},
                                      {"0.0.0.0", R::Unspecified}, {"0.1.2.3", R::Unspecified}, {"::", R::Unspecified},
                                      {"10.1.2.3", R::Private}, {"172.16.0.1", R::Private}, {"172.31.255.255", R::Private},
                                      {"192.168.255.255", R::Private}, {"fd00::1", R::Private}, {"fc00::9", R::Private},
                                      {"::ffff:10.0.0.1", R::Private}, {"224.0.0.1", R::Multicast}, {"255.255.255.255", R::Multicast},
                                      {"ff02::1", R::Multicast}})
            QTest::addRow("%s from public", to) << to << "198.18.0.1" << int(why);
        // Catches the same range refused to a user who typed a server within it, or link-local let through so.
        for (const auto& [to, typed, why] : {std::tuple("10.1.2.3", "192.168.1.1", R::None), {"fd00::1", "fc00::9", R::None},
                                             {"192.168.0.9", "fd12::1", R::None}, {"127.0.0.2", "127.0.0.1", R::None},
                                             {"::1", "127.0.0.1", R::None}, {"fe80::1", "fe80::2", R::LinkLocal},
                                             {"127.0.0.1", "10.0.0.1", R::Loopback}, {"10.0.0.1", "127.0.0.1", R::Private}})
            QTest::addRow("%s from %s", to, typed) << to << typed << int(why);
        // Catches public addresses refused, at a range's edge or with the typed server unknown.
        for (const char* to : {"198.18.0.5", "172.32.0.1", "11.0.0.1", "192.169.0.1", "2001:db8::1", "fe00::1"})
            QTest::addRow("%s public", to) << to << "" << int(R::None);
    }
    void safety()
    {
        QFETCH(QString, to);
        QFETCH(QString, typed);
        QFETCH(int, refusal);
        QCOMPARE(int(refuseAddress(QHostAddress(to), QHostAddress(typed))), refusal);
    }

    // Catches a port other than whois's and rwhois's let through.
    void ports()
    {
        for (const auto& [port, refusal] : {std::pair(43, Refusal::None), {4321, Refusal::None}, {80, Refusal::Port}, {0, Refusal::Port}, {4322, Refusal::Port}})
            QCOMPARE(refusePort(quint16(port)), refusal);
    }

    // Catches a thin registry asked so that host records answer too, the address registry's
    // form sent to others, or a query with options rewritten.
    void referralQuery()
    {
        const std::tuple<const char*, const char*, const char*> cases[] = {
            {"whois.verisign-grs.com", "example.com", "domain example.com"}, {"WHOIS.CRSNIC.NET.", "example.net", "domain example.net"},
            {"whois.verisign-grs.com", "ns1.example.com", "ns1.example.com"}, {"whois.verisign-grs.com", "=example.com", "=example.com"},
            {"whois.arin.net", "198.18.0.1", "n + 198.18.0.1"}, {"whois.arin.net", "2001:db8::1", "n + 2001:db8::1"},
            {"whois.arin.net", "198.18.0.0/15", "r + = 198.18.0.0/15"}, {"whois.arin.net", "AS64500", "a 64500"},
            {"whois.arin.net", "example.com", "example.com"}, {"whois.arin.net", "n 198.18.0.1", "n 198.18.0.1"},
            {"whois.ripe.net", "198.18.0.1", "198.18.0.1"}, {"whois.example-registrar.test", "example.com", "example.com"}};
        for (const auto& [server, query, sent] : cases)
            QCOMPARE(whois::referralQuery(QString::fromLatin1(server), QString::fromLatin1(query)), QString::fromLatin1(sent));
    }

    // Catches more than three referrals, a server asked twice, an unsafe port followed, the first
    // answer copied when nothing follows it, or an answer's letters lost beside another encoding.
    void chain()
    {
        ReferralChain c;
        c.start({"root.test", 4343});
        QVERIFY(!c.afterAnswer("no pointer\r\n", false).next && c.text().isEmpty());
        c.start({"root.test", 4343});
        const auto next = [&c](const char* answer) { return shown(c.afterAnswer(answer, false).next); };
        QCOMPARE(next("M\xfcnchen\r\nrefer: a.test\r\n"), "a.test 43");
        QCOMPARE(next("M\xc3\xbcnchen\r\nReferralServer: rwhois://b.test\r\n"), "b.test 4321");
        QCOMPARE(next("% referto: whois -h c.test -p 43 q"), "c.test 43");
        QCOMPARE(next("refer: d.test\r\n"), "");
        QCOMPARE(c.referrals(), 3);
        QCOMPARE(QString::fromUtf8(c.text()),
                 "München\r\nrefer: a.test\r\n\r\nReferred to a.test (port 43):\r\nMünchen\r\nReferralServer: rwhois://b.test\r\n"
                 "\r\nReferred to b.test (port 4321):\r\n% referto: whois -h c.test -p 43 q\r\n\r\nReferred to c.test (port 43):\r\n"
                 "refer: d.test\r\n\r\nReferral to d.test (port 43) not followed: at most 3 referrals are followed.\r\n");
        for (const auto& [answers, line] : {std::pair(QList<QByteArray>{"refer: a.test\n", "refer: root.test:4343\n"}, "that server was asked already"),
                                            {{"refer: a.test\n", "refer: b.test\n", "refer: A.TEST.\n"}, "that server was asked already"},
                                            {{"refer: a.test:8080\n"}, "only ports 43 and 4321 are followed"}}) {
            c.start({"root.test", 4343});
            for (const QByteArray& answer : answers)
                c.afterAnswer(answer, false);
            QVERIFY2(c.text().endsWith(QByteArray("not followed: ") + line + ".\r\n"), c.text());
        }
        c.start({"root.test", 43});
        c.afterAnswer("refer: b.test\n", false);
        c.afterAnswer("the record", false);   // the last answer ends the text
        QVERIFY(c.text().endsWith("\r\nthe record\r\n"));
        c.start({"root.test", 43});
        c.afterAnswer("refer: a.test", false);
        c.failed(HopFailure::Refused, Refusal::Loopback);
        QCOMPARE(QString::fromUtf8(c.text()), "refer: a.test\r\n\r\nReferred to a.test (port 43):\r\n\r\n"
                                              "The referral ends here: a.test (port 43) not followed, its address is on this computer.\r\n");
    }
};

QTEST_MAIN(TestReferral)
#include "tst_referral.moc"
