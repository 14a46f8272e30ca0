// Start-up's connection decision, the local-address boxes, and shut-down.
#include "FormHarness.h"
#include "app/DialUp.h"
#include "app/MultiLineTextBox.h"
#include "icmp/AxIcmp.h"
#include "icmp/LocalAddress.h"

#include <QLineEdit>
#include <QTabWidget>
#include <QtTest>

using Interfaces = std::vector<NetInterface>;
using F = FakeInterfaceList;

namespace {
constexpr quint32 kAddr = 0xC6120002;   // 198.18.0.2
constexpr quint32 kOther = 0xC6130007;  // 198.19.0.7
}

class TestStartup : public QObject {
    Q_OBJECT
private slots:
    // A machine judged connected or not for the wrong reason, boxes filled wrongly, or the warning repeated.
    void connectionDecision_data()
    {
        QTest::addColumn<bool>("dialUp");
        QTest::addColumn<QString>("localIp");
        QTest::addColumn<bool>("connected");
        QTest::newRow("local address only") << false << "198.18.0.5" << true;
        QTest::newRow("dial-up only, loopback address") << true << "127.0.0.1" << true;
        QTest::newRow("loopback only") << false << "127.0.0.1" << false;
    }
    void connectionDecision()
    {
        QFETCH(bool, dialUp);
        QFETCH(QString, localIp);
        QFETCH(bool, connected);
        FormHarness h({.load = false});
        if (dialUp)
            h.interfaces.list.push_back(F::dialUp("ppp0", kAddr));
        h.icmp->localIp = localIp;
        Form1& form = *h.form;
        form.Form_Load();
        for (int page = 0; page < 4; ++page)
            form.SSTab1->setCurrentIndex(page);

        QVERIFY(form.KeyPreview);
        QCOMPARE(form.module.IsConnected, connected ? kTrue16 : kFalse16);
        QCOMPARE(form.HostResponse->isHidden(), connected);
        const QString box = connected ? QStringLiteral("alpha (%1)").arg(localIp) : QString();
        QCOMPARE((QStringList{form.txtLocal->text(), form.txtLocalTrace->text(), form.txtLocalDNS->text()}),
                 QStringList(3, box));
        QCOMPARE(h.messageBox.shown.size(), connected ? size_t(0) : size_t(1));
        if (!connected) {
            QCOMPARE(h.messageBox.shown[0].prompt,
                     QStringLiteral("Pathlark requires an Internet connection to be fully functional."));
            QCOMPARE(h.messageBox.shown[0].flags, MessageBox::kExclamation);
            QCOMPARE(h.messageBox.shown[0].title, QStringLiteral("Pathlark"));
        }
    }

    // A dial-up link counted that is not running or has no IPv4 address.
    void dialUpStandIn()
    {
        const auto connected = [](const Interfaces& list) { return firstDialUpConnectionState(list) == RASCS_Connected; };
        QVERIFY(!connected({}));
        QVERIFY(!connected({F::loopback(), F::ethernet("eth0", kAddr)}));
        QVERIFY(!connected({F::dialUp("ppp0", std::nullopt)}));
        QVERIFY(!connected({F::dialUp("ppp0", kAddr, false)}));
        QVERIFY(connected({F::dialUp("ppp0", std::nullopt), F::dialUp("tun0", kAddr)}));
        QVERIFY(connected({F::dialUp("ppp0", std::nullopt, true, QHostAddress("2001:db8::9"))}));
    }

    // The fall-backs of the local address: no usable default route, interfaces down, nothing
    // at all; an IPv6-only machine showing its global IPv6 address, never a link-local one.
    void localAddressFallbacks()
    {
        NetInterface down = F::ethernet("eth0", kAddr);
        down.flags = 0;
        const NetInterface noAddress{"wg0", IFF_UP, std::nullopt, std::nullopt};
        const QHostAddress v6a("2001:db8::5"), v6b("2001:db8:7::7");
        const auto local = [](const Interfaces& list, const QString& route, const QString& route6 = {}) {
            F routes;
            routes.defaultRoute = route;
            routes.defaultRoute6 = route6;
            return chooseLocalIp(list, routes);
        };
        QCOMPARE(local({F::loopback(), F::ethernet("eth0", kAddr), F::ethernet("eth1", kOther)}, "eth1"), "198.19.0.7");
        QCOMPARE(local({F::loopback(), noAddress, F::ethernet("eth1", kOther)}, "wg0"), "198.19.0.7");
        QCOMPARE(local({F::loopback(), down}, ""), "127.0.0.1");
        QCOMPARE(local({}, ""), "127.0.0.1");
        QCOMPARE(local({F::ethernet("eth0", {}, v6a), F::ethernet("eth1", kOther, v6b)}, "", "eth0"), "198.19.0.7");
        QCOMPARE(local({F::ethernet("eth0", {}, v6a), F::ethernet("eth1", {}, v6b)}, "", "eth1"), "2001:db8:7::7");
        QCOMPARE(local({F::loopback(), F::ethernet("eth0", {}, v6a)}, ""), "2001:db8::5");
    }

    // Start-up crashing on an odd machine, or calling it connected without a usable address.
    void oddMachines_data()
    {
        QTest::addColumn<Interfaces>("interfaces");
        QTest::addColumn<QString>("hostName");
        QTest::addColumn<bool>("connected");
        QTest::newRow("no interfaces") << Interfaces{} << "alpha" << false;
        QTest::newRow("no addresses") << Interfaces{{"eth0", IFF_UP, std::nullopt, {}}, {"lo", IFF_LOOPBACK, std::nullopt, {}}}
                                      << "alpha" << false;
        QTest::newRow("point-to-point without IPv4") << Interfaces{F::loopback(), F::dialUp("ppp0", std::nullopt)}
                                                     << "alpha" << false;
        QTest::newRow("empty host name") << Interfaces{F::ethernet("eth0", kAddr)} << "" << true;
        QTest::newRow("very long host name") << Interfaces{F::ethernet("eth0", kAddr)} << QString(4096, u'h') << true;
    }
    void oddMachines()
    {
        QFETCH(Interfaces, interfaces);
        QFETCH(QString, hostName);
        QFETCH(bool, connected);
        FormHarness h({.load = false});
        h.interfaces.list = interfaces;
        h.interfaces.host = hostName;
        Platform p = h.platform();
        // Start-up only reads the local address: the control never needs its sockets here.
        p.createIcmpControl = [&h](QObject* parent) { return new AxIcmp(h.interfaces, IcmpAdapters{}, parent); };
        Form1 form(p);
        form.Form_Load();
        QCOMPARE(form.module.IsConnected, connected ? kTrue16 : kFalse16);
        QCOMPARE(form.txtLocal->text().startsWith(hostName + QStringLiteral(" (198.18.0.2)")), connected);
    }

    // Shut-down that leaves a whois connection open, keeps the help object, or asks before closing.
    void shutDown()
    {
        for (const qint16 state : {qint16(7), qint16(6), qint16(0)}) {
            FormHarness h;
            Form1& form = *h.form;
            form.show();
            form.module.ContextHelp = std::make_unique<cHtmlHelp>(&h.helpViewer);
            h.tcp->state = state;
            QVERIFY(form.close());
            QCOMPARE(h.tcp->closes, state ? 1 : 0);
            QVERIFY(!form.module.ContextHelp);
            QVERIFY(h.messageBox.shown.empty());
        }
    }
};

QTEST_MAIN(TestStartup)
#include "tst_startup.moc"
