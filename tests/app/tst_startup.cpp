// Start-up's connection decision, the local-address boxes, and shut-down.
#include "FormHarness.h"
#include "app/DialUp.h"
#include "app/MultiLineTextBox.h"
#include "icmp/AxIcmp.h"
#include "icmp/LocalAddress.h"

#include <QLineEdit>
#include <QTabWidget>
#include <QtTest>

namespace {

constexpr quint32 addr(int a, int b, int c, int d)
{
    return quint32(a) << 24 | quint32(b) << 16 | quint32(c) << 8 | quint32(d);
}

const QString kNoConnection = QStringLiteral("Pathlark requires an Internet connection to be fully functional.");

QStringList localBoxes(const Form1& form)
{
    return {form.txtLocal->text(), form.txtLocalTrace->text(), form.txtLocalDNS->text()};
}

} // namespace

class TestStartup : public QObject {
    Q_OBJECT
private slots:
    // A machine judged connected or not for the wrong reason, or boxes filled wrongly.
    void connectionDecision_data()
    {
        QTest::addColumn<bool>("dialUp");
        QTest::addColumn<QString>("localIp");
        QTest::addColumn<bool>("connected");
        QTest::newRow("local address only") << false << "198.18.0.5" << true;
        QTest::newRow("dial-up only, loopback address") << true << "127.0.0.1" << true;
        QTest::newRow("dial-up and local address") << true << "198.18.0.5" << true;
        QTest::newRow("loopback only") << false << "127.0.0.1" << false;
    }
    void connectionDecision()
    {
        QFETCH(bool, dialUp);
        QFETCH(QString, localIp);
        QFETCH(bool, connected);
        FormHarness h(false);
        if (dialUp)
            h.interfaces.list.push_back(FakeInterfaceList::dialUp("ppp0", addr(198, 18, 9, 1)));
        h.icmp->localIp = localIp;
        h.form->Form_Load();
        Form1& form = *h.form;

        QVERIFY(form.KeyPreview);
        QCOMPARE(form.module.IsConnected, connected ? kTrue16 : kFalse16);
        if (connected) {
            QVERIFY(h.messageBox.shown.empty());
            QVERIFY(form.HostResponse->isHidden());
            const QString expected = QStringLiteral("alpha (%1)").arg(localIp);
            QCOMPARE(localBoxes(form), QStringList(3, expected));
        } else {
            QCOMPARE(h.messageBox.shown.size(), size_t(1));
            QCOMPARE(h.messageBox.shown[0].prompt, kNoConnection);
            QCOMPARE(h.messageBox.shown[0].flags, MessageBox::kExclamation);
            QCOMPARE(h.messageBox.shown[0].title, QStringLiteral("Pathlark"));
            QVERIFY(!form.HostResponse->isHidden());
            QCOMPARE(localBoxes(form), QStringList(3, QString()));
        }
    }

    // The warning repeated after start-up, or a tool that starts although start-up found no connection.
    void notConnectedWarnsOnce()
    {
        FormHarness h(true, false);
        Form1& form = *h.form;
        form.show();
        for (int page = 0; page < 4; ++page)
            form.SSTab1->setCurrentIndex(page);
        QCOMPARE(h.messageBox.shown.size(), size_t(1));
        QCOMPARE(form.module.IsConnected, kFalse16);
    }

    // Only a running point-to-point link with an IPv4 address is a dial-up connection.
    void dialUpStandIn_data()
    {
        QTest::addColumn<std::vector<NetInterface>>("interfaces");
        QTest::addColumn<bool>("connected");
        using F = FakeInterfaceList;
        QTest::newRow("none") << std::vector<NetInterface>{} << false;
        QTest::newRow("loopback") << std::vector<NetInterface>{F::loopback()} << false;
        QTest::newRow("ethernet") << std::vector<NetInterface>{F::ethernet("eth0", addr(198, 18, 0, 2))} << false;
        QTest::newRow("ppp up") << std::vector<NetInterface>{F::dialUp("ppp0", addr(198, 18, 9, 1))} << true;
        QTest::newRow("ppp without IPv4") << std::vector<NetInterface>{F::dialUp("ppp0", std::nullopt)} << false;
        QTest::newRow("ppp not running") << std::vector<NetInterface>{F::dialUp("ppp0", addr(198, 18, 9, 1), false)}
                                         << false;
        QTest::newRow("second link counts when the first is down")
            << std::vector<NetInterface>{F::dialUp("ppp0", std::nullopt), F::dialUp("tun0", addr(198, 18, 9, 2))}
            << true;
    }
    void dialUpStandIn()
    {
        QFETCH(std::vector<NetInterface>, interfaces);
        QFETCH(bool, connected);
        QCOMPARE(firstDialUpConnectionState(interfaces) == RASCS_Connected, connected);
    }

    // The address shown as this machine's: default-route interface first, loopback last.
    void localAddressChoice_data()
    {
        QTest::addColumn<std::vector<NetInterface>>("interfaces");
        QTest::addColumn<QString>("defaultRoute");
        QTest::addColumn<QString>("expected");
        using F = FakeInterfaceList;
        const auto eth0 = F::ethernet("eth0", addr(198, 18, 0, 2));
        const auto eth1 = F::ethernet("eth1", addr(198, 19, 0, 7));
        NetInterface down = eth0;
        down.flags = 0;
        QTest::newRow("default route wins") << std::vector{F::loopback(), eth0, eth1} << "eth1" << "198.19.0.7";
        QTest::newRow("no default route: first up") << std::vector{F::loopback(), eth0, eth1} << "" << "198.18.0.2";
        QTest::newRow("default route without address")
            << std::vector{F::loopback(), NetInterface{"wg0", IFF_UP, std::nullopt}, eth1} << "wg0" << "198.19.0.7";
        QTest::newRow("down interfaces skipped") << std::vector{F::loopback(), down} << "" << "127.0.0.1";
        QTest::newRow("loopback only") << std::vector{F::loopback()} << "" << "127.0.0.1";
        QTest::newRow("nothing readable") << std::vector<NetInterface>{} << "" << "127.0.0.1";
        QTest::newRow("address 0.0.0.0 printed plainly")
            << std::vector{F::ethernet("eth0", 0)} << "eth0" << "0.0.0.0";
    }
    void localAddressChoice()
    {
        QFETCH(std::vector<NetInterface>, interfaces);
        QFETCH(QString, defaultRoute);
        QFETCH(QString, expected);
        QCOMPARE(chooseLocalIp(interfaces, defaultRoute), expected);
    }

    // Start-up on odd machines never crashes; with the real control and no usable address it is not connected.
    void oddInterfaceLists_data()
    {
        QTest::addColumn<std::vector<NetInterface>>("interfaces");
        QTest::addColumn<QString>("hostName");
        QTest::addColumn<bool>("connected");
        using F = FakeInterfaceList;
        QTest::newRow("no interfaces at all") << std::vector<NetInterface>{} << "alpha" << false;
        QTest::newRow("interfaces without addresses")
            << std::vector{NetInterface{"eth0", IFF_UP, std::nullopt}, NetInterface{"lo", IFF_LOOPBACK, std::nullopt}}
            << "alpha" << false;
        QTest::newRow("point-to-point without IPv4") << std::vector{F::loopback(), F::dialUp("ppp0", std::nullopt)}
                                                     << "alpha" << false;
        QTest::newRow("empty host name") << std::vector{F::loopback(), F::ethernet("eth0", addr(198, 18, 0, 2))}
                                         << "" << true;
        QTest::newRow("very long host name") << std::vector{F::ethernet("eth0", addr(198, 18, 0, 2))}
                                             << QString(4096, u'h') << true;
    }
    void oddInterfaceLists()
    {
        QFETCH(std::vector<NetInterface>, interfaces);
        QFETCH(QString, hostName);
        QFETCH(bool, connected);
        FormHarness h(false);
        h.interfaces.list = interfaces;
        h.interfaces.host = hostName;
        Platform p = h.platform();
        p.createIcmpControl = [&h](QObject* parent) { return new AxIcmp(h.interfaces, parent); };
        Form1 form(p);
        form.Form_Load();
        QCOMPARE(form.module.IsConnected, connected ? kTrue16 : kFalse16);
        if (connected)
            QVERIFY(form.txtLocal->text().startsWith(hostName + QStringLiteral(" (")));
    }

    // Shut-down that leaves a whois connection open, keeps the help object, or asks before closing.
    void shutDown_data()
    {
        QTest::addColumn<qint16>("state");
        QTest::addColumn<int>("closes");
        QTest::newRow("connection open") << qint16(7) << 1;
        QTest::newRow("connecting") << qint16(6) << 1;
        QTest::newRow("closed") << qint16(0) << 0;
    }
    void shutDown()
    {
        QFETCH(qint16, state);
        QFETCH(int, closes);
        FormHarness h;
        Form1& form = *h.form;
        form.show();
        form.module.ContextHelp = std::make_unique<cHtmlHelp>();
        h.tcp->state = state;
        QVERIFY(form.close());
        QCOMPARE(h.tcp->closes, closes);
        QVERIFY(!form.module.ContextHelp);
        QVERIFY(h.messageBox.shown.empty());
        QVERIFY(!form.isVisible());
    }
};

QTEST_MAIN(TestStartup)
#include "tst_startup.moc"
