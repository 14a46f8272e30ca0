// The referrals of whois answers without a network: which lines point on, where a referral may go,
// the query a referred server gets, and the text of a chain.
#include "whois/Referral.h"
#include "whois/ReferralChain.h"
#include "whois/ReferralSafety.h"
#include "whois/Whois.h"

#include <QtTest>

using namespace whois;

namespace {

const QByteArray three = QByteArray(63, 'a').append('.').repeated(3);   // 192 characters of host name

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
        const auto rows = [](std::initializer_list<std::tuple<const char*, QByteArray, const char*, const char*>> list) {
            for (const auto& [name, answer, asked, found] : list)
                QTest::newRow(name) << answer << QString::fromLatin1(asked) << QString::fromLatin1(found);
        };
        // Catches a form of pointer missed, or its host or port misread.
        rows({{"root refer", "% IANA WHOIS server\n\nrefer:        whois.verisign-grs.com\n\ndomain:       COM\n", "whois.iana.org", "whois.verisign-grs.com 43"},
              {"root, an address", "refer:        whois.arin.net\r\n\r\ninetnum:      198.0.0.0 - 198.255.255.255\r\n", "whois.iana.org", "whois.arin.net 43"},
              {"root whois: only", "domain:       TEST\nwhois:        Whois.Nic.Test.\n", "whois.iana.org", "whois.nic.test 43"},
              {"thin registry", "   Domain Name: EXAMPLE.COM\r\n   Registry Domain ID: 2336799_DOMAIN_COM-VRSN\r\n   Registrar WHOIS Server: "
                                "whois.example-registrar.test\r\n", "whois.verisign-grs.com", "whois.example-registrar.test 43"},
              {"thin, old form", "Domain Name: EXAMPLE.NET\nWhois Server: WHOIS.OLD-REGISTRAR.TEST\n", "r.test", "whois.old-registrar.test 43"},
              {"ReferralServer whois", "NetRange: 198.18.0.0 - 198.19.255.255\nReferralServer:  whois://whois.ripe.net\n", "whois.arin.net", "whois.ripe.net 43"},
              {"rwhois, port, path", "ReferralServer:  rwhois://rwhois.example.test:4321/\n", "whois.arin.net", "rwhois.example.test 4321"},
              {"rwhois, no port", "ReferralServer: rwhois://rwhois.example.test\n", "whois.arin.net", "rwhois.example.test 4321"},
              {"address and port", "ReferralServer: whois://198.18.7.7:43/\n", "whois.arin.net", "198.18.7.7 43"},
              {"IPv6 in brackets", "ReferralServer: whois://[2001:DB8::7]:4321\n", "whois.arin.net", "2001:db8::7 4321"},
              {"referto", "% referto: whois -h whois.arin.net -p 43 AS 1\n", "whois.ripe.net", "whois.arin.net 43"},
              {"last line, no line end", "x\nrefer: whois.nic.test", "whois.iana.org", "whois.nic.test 43"},
              {"same server skipped", "refer: WHOIS.IANA.ORG.\nwhois: whois.nic.test\n", "whois.iana.org", "whois.nic.test 43"},
              {"longest host", "refer: " + three + QByteArray(61, 'b'), "a.test", qPrintable(three + QByteArray(61, 'b') + " 43")}});
        // Catches look-alikes followed: comments, the server itself, other schemes, hosts no host can have.
        rows({{"comment lines", "% refer: whois.evil.test\n# ReferralServer: whois://whois.evil.test\n%whois: e.test\n", "whois.iana.org", ""},
              {"same address", "ReferralServer: whois://[2001:db8:0::7]\n", "2001:db8::7", ""},
              {"web URLs", "ReferralServer: https://rdap.example.test/\nrefer: http://www.example.test/\nDomain Name: X\n"
                           "Registrar WHOIS Server: http://www.registrar.test\n", "a.test", ""},
              {"no scheme in ReferralServer", "ReferralServer: whois.x.test\n", "a.test", ""},
              {"registrar before record", "Registrar WHOIS Server: whois.x.test\nDomain Name: X\n", "a.test", ""},
              {"empty value", "Domain Name: X\nRegistrar WHOIS Server: \nrefer:\n", "a.test", ""},
              {"overlong host", "refer: " + three + QByteArray(62, 'b'), "a.test", ""},
              {"overlong label", "refer: " + QByteArray(64, 'a') + ".test\n", "a.test", ""},
              {"markup in host", "refer: whois.evil.test<b>\nrefer: -\nrefer: a..test\n", "a.test", ""},
              {"bad ports", "ReferralServer: whois://h.test:99999\nReferralServer: whois://h.test:0\nReferralServer: whois://h.test:\n", "a.test", ""},
              {"indented or mid-line", "  refer: x.test\nremarks: see refer: y.test\n", "a.test", ""},
              {"beyond the first MiB", QByteArray(kReferralScanBytes, '\n') + "refer: x.test\n", "a.test", ""},
              {"referto cut short", "% referto: whois -h whois.arin.net\n% referto: whois -x h.test -p 43 q\n", "a.test", ""}});
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

    // Catches an answer's letters lost beside another encoding, or the first answer copied when
    // nothing follows it. (The chain's rules down real servers: tst_referral_chain.)
    void chainText()
    {
        ReferralChain c;
        c.start({"root.test", 43});
        QVERIFY(!c.afterAnswer("no pointer\r\n", false).textChanged && c.text().isEmpty());
        QVERIFY(c.afterAnswer("M\xfc\r\nrefer: a.test", false).next == (Referral{"a.test", 43}));
        c.afterAnswer("M\xc3\xbc\r\n", true);
        QCOMPARE(QString::fromUtf8(c.text()), "Mü\r\nrefer: a.test\r\n\r\nReferred to a.test (port 43):\r\nMü\r\n" + answerCutNote(kReferredAnswerCap) + "\r\n");
    }
};

QTEST_MAIN(TestReferral)
#include "tst_referral.moc"
