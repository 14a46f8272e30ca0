// The path monitor window on a simulated path: how it opens and refuses, its rows and verdict
// after rounds, what Copy and Save As give, and that it neither leaks probes nor mixes answers.
#include "FormHarness.h"
#include "SimulatedPath.h"
#include "app/MonitorChart.h"
#include "app/MonitorTable.h"
#include "app/MonitorWindow.h"
#include "app/ResultsTable.h"
#include "monitor/PathMonitor.h"

#include <QAction>
#include <QAreaSeries>
#include <QLineSeries>
#include <QClipboard>
#include <QDoubleSpinBox>
#include <QGuiApplication>
#include <QLabel>
#include <QTemporaryDir>
#include <QtTest>

using packets::World;

namespace {

// Names every responder `name`, as a hostile name server may.
struct OneName final : NameLookup {
    QString name;
    void addressOf(const QString&, QObject*, std::function<void(std::optional<QHostAddress>)>) override {}
    void nameOf(const QHostAddress&, QObject* c, std::function<void(QString)> done) override { QMetaObject::invokeMethod(c, [done, n = name] { done(n); }, Qt::QueuedConnection); }
};

// The window wired to a simulated path: its trace and every monitor probe the same world.
struct Rig {
    explicit Rig(const QString& path, bool connected = true)
        : world(path)
    {
        if (connected)
            world.interfaces.list.push_back(FakeInterfaceList::ethernet(QStringLiteral("eth0"), packets::kHost));
        h = std::make_unique<FormHarness>(FormHarness::Options{.adjust = [this](Platform& p) {
            p.interfaceList = &world.interfaces;
            p.createIcmpControl = [this](QObject* parent) { return new AxIcmp(world.interfaces, {&world, &world, &world}, parent); };
            p.createPathMonitor = [this](const monitor::Target& t, QObject* parent) {
                return new monitor::PathMonitor({&world, &world, names.name.isNull() ? &world : static_cast<NameLookup*>(&names)}, t, parent);
            };
        }});
    }
    QString target() const { return world.node(int(world.nodes.size())).toString(); }
    MonitorWindow* open(const QString& host)
    {
        h->form->openMonitor(host);
        return h->form->monitors().value(0);
    }
    World world;
    OneName names;   // a null name: the world's own
    std::unique_ptr<FormHarness> h;
};

MonitorTable* tableOf(const MonitorWindow* w) { return w->findChild<MonitorTable*>(); }

} // namespace

class MonitorWindowTest : public QObject {
    Q_OBJECT
private slots:
    void opening_data();
    void opening();
    void rows_data();
    void rows();
    void gettingItOut();
    void helpAndClosing();
    void twoMonitorsAndATrace();
    void chart_data();
    void chart();
};

void MonitorWindowTest::opening_data()
{
    QTest::addColumn<QString>("how");   // menu, key or call
    QTest::addColumn<int>("page");
    QTest::addColumn<bool>("connected");
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("messages");
    QTest::addColumn<int>("windows");
    // Catches a way in that is missing, or one that skips the pages' refusals.
    QTest::newRow("menu, Ping") << "menu" << 0 << true << "198.18.3.1" << "" << 1;
    QTest::newRow("menu, Traceroute") << "menu" << 1 << true << "198.18.3.1/" << "" << 1;
    QTest::newRow("Ctrl+M, Traceroute") << "key" << 1 << true << "198.18.3.1" << "" << 1;
    QTest::newRow("Ctrl+M, DNS page: no monitor") << "key" << 2 << true << "198.18.3.1" << "" << 0;
    QTest::newRow("call, not connected") << "call" << 0 << false << "198.18.3.1"
                                         << "Pathlark requires an Internet connection to be fully functional.+"
                                            "You must connected to the Internet for this function to work properly." << 0;
    QTest::newRow("call, no such host") << "call" << 0 << true << "nowhere.test" << "nowhere.test is an invaild domain name." << 0;
}

void MonitorWindowTest::opening()
{
    QFETCH(QString, how);
    QFETCH(int, page);
    QFETCH(bool, connected);
    QFETCH(QString, host);
    QFETCH(QString, messages);
    QFETCH(int, windows);
    Rig rig(QStringLiteral("1 2 3!"), connected);
    rig.h->resolver.unknown << "nowhere.test";
    rig.h->openTab(page);
    for (const char* box : {"txtRemote", "txtRemoteTrace", "DNSHost"})
        rig.h->edit(box)->setText(host);
    if (how == "menu") {
        const QList<QAction*> menu = rig.h->find<ResultsTable>("ListView1")->actions();
        const auto item = std::ranges::find(menu, QStringLiteral("MonitorThisHost"), &QObject::objectName);
        QVERIFY(item != menu.end());
        (*item)->trigger();
    } else if (how == "key") {
        rig.h->form->show();
        rig.h->form->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(rig.h->form.get()));
        QTest::keyClick(rig.h->form.get(), Qt::Key_M, Qt::ControlModifier);
    } else {
        rig.h->form->openMonitor(host);
    }
    QCOMPARE(rig.h->messages(), messages);
    QCOMPARE(rig.h->form->monitors().size(), windows);
    if (MonitorWindow* w = rig.h->form->monitors().value(0))
        QCOMPARE(w->windowTitle(), QStringLiteral("Path Monitor — 198.18.3.1"));
}

void MonitorWindowTest::rows_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("dropHop");       // from this hop on, every `dropEvery`th round gets no answer
    QTest::addColumn<bool>("onlyThatHop");
    QTest::addColumn<int>("dropEvery");
    QTest::addColumn<QString>("verdict");
    QTest::addColumn<QStringList>("row2");  // Hop, Host, Loss %, Sent, Recv, Last (then Avg...)
    QTest::addColumn<QString>("name");      // what the name server says of every responder; null: the world's
    QTest::addColumn<QString>("host5");
    // Catches rows that mix up columns, paint rate limiting as loss, or show a silent hop as zero.
    QTest::newRow("clean, silent hop 3") << "1 2 - 4 5!" << 0 << false << 1 << "No loss to 198.18.5.1 (198.18.5.1) in 40 rounds;"
                                         << QStringList{"2", "198.18.2.1", "0.0", "40", "40", "2.0"} << QString() << "target.test (198.18.5.1)";
    QTest::newRow("hop 2 limits its answers") << "1 2 - 4 5!" << 2 << true << 2 << "No loss to 198.18.5.1"
                                              << QStringList{"2", "198.18.2.1", "50.0", "40", "20", "2.0"} << QString() << "target.test (198.18.5.1)";
    QTest::newRow("loss from hop 2 on") << "1 2 - 4 5!" << 2 << false << 4 << "Loss begins at hop 2 (198.18.2.1) and reaches 198.18.5.1: 25%"
                                        << QStringList{"2", "198.18.2.1", "25.0", "40", "30", "2.0"} << QString() << "target.test (198.18.5.1)";
    // Catches a name from the network shown as markup, reordered by a bidi override or broken by controls.
    const QString hostile = "<b>x</b>\u2066\u202E\a\tz" + QString(300, u'n');
    const QString shown = "<b>x</b>\uFFFD\uFFFD\u2407\u2409z" + QString(300, u'n');
    QTest::newRow("hostile name") << "1 2 - 4 5!" << 0 << false << 1 << "No loss to 198.18.5.1"
                                  << QStringList{"2", shown + " (198.18.2.1)", "0.0", "40", "40", "2.0"} << hostile
                                  << shown + " (198.18.5.1)";
}

void MonitorWindowTest::rows()
{
    QFETCH(int, dropHop);
    QFETCH(bool, onlyThatHop);
    QFETCH(int, dropEvery);
    QFETCH(QString, path);
    QFETCH(QStringList, row2);
    QFETCH(QString, verdict);
    QFETCH(QString, name);
    QFETCH(QString, host5);
    Rig rig(path);
    rig.names.name = name;
    // Rounds leave every 100 ms; the same rounds lose at every hop concerned.
    rig.world.drops = [&](int n) {
        const qint64 round = (rig.world.now - World::kStart) / 100'000'000;
        return dropHop && n >= dropHop && (!onlyThatHop || n == dropHop) && round % dropEvery == 0;
    };
    MonitorWindow* w = rig.open(rig.target());
    QVERIFY(w);
    w->findChild<QDoubleSpinBox*>(QStringLiteral("Interval"))->setValue(0.1);
    QCOMPARE(w->monitor().intervalSeconds(), 0.1);
    rig.world.advanceMs(3950);   // rounds at 0 ms .. 3.9 s, each answered or lost once its 2 s are over
    w->monitor().setPaused(true);
    rig.world.advanceMs(2500);
    QCOMPARE(w->monitor().model().rounds(), 40);

    MonitorTable* table = tableOf(w);
    QCOMPARE(table->topLevelItemCount(), 5);
    QCOMPARE(table->rowText(2).mid(0, 6), row2);
    QCOMPARE(table->rowText(3), (QStringList{"3", "(no answer)", "100.0", "40", "0", "-", "-", "-", "-", "-", "-", ""}));
    QCOMPARE(table->rowText(5)[1], host5);
    const bool limited = onlyThatHop;
    QCOMPARE(table->topLevelItem(1)->font(MonitorTable::Loss).italic(), limited);
    QCOMPARE(table->topLevelItem(1)->toolTip(MonitorTable::Loss), limited ? MonitorTable::rateLimitNote() : QString());
    QVERIFY(!table->topLevelItem(0)->font(MonitorTable::Loss).italic());

    auto* label = w->findChild<QLabel*>(QStringLiteral("Verdict"));
    QVERIFY2(label->text().startsWith(verdict), qPrintable(label->text()));
    QCOMPARE(label->accessibleName(), w->monitor().verdict().text);
    QCOMPARE(label->text().contains(QStringLiteral("limits its replies")), limited);

    // The chart follows the target (its rounds drawn a moment later), then the row picked (at
    // once): a point per answer, a mark per loss.
    auto* chart = w->findChild<MonitorChart*>();
    QTRY_COMPARE(chart->roundTrips().size(), table->rowText(5)[MonitorTable::Recv].toInt());
    for (const int hop : {5, 2}) {
        if (hop != 5)
            table->setCurrentItem(table->topLevelItem(hop - 1));
        QCOMPARE(chart->roundTrips().size(), table->rowText(hop)[MonitorTable::Recv].toInt());
        QCOMPARE(chart->losses().size(), 40 - chart->roundTrips().size());
        QVERIFY(std::ranges::all_of(chart->losses(), [](const QPointF& p) { return p.y() > 0; }));   // at the top, not zero
    }
}

void MonitorWindowTest::gettingItOut()
{
    Rig rig(QStringLiteral("1 2 3!"));
    MonitorWindow* w = rig.open(rig.target());
    rig.world.advanceMs(5000);
    w->monitor().setPaused(true);
    rig.world.advanceMs(2500);
    const monitor::Report report = w->monitor().report();
    QVERIFY(report.rounds >= 5);

    // Catches a copy or a file that is not the report the table shows, or in another format
    // than its name (or, without a suffix, the dialog's filter: text) asks for.
    w->copyReport();
    QCOMPARE(QGuiApplication::clipboard()->text(), monitor::reportText(report));
    QTemporaryDir dir;
    const std::tuple<const char*, const char*, QByteArray> saves[] = {
        {"hops.csv", "hops.csv", monitor::reportCsv(report).toUtf8()},
        {"hops", "hops.txt", monitor::reportText(report).toUtf8()},
        {"hops.JSON", "hops.JSON", monitor::reportJson(report)}};
    for (const auto& [asked, written, expected] : saves) {
        rig.h->fileDialog.answer = dir.filePath(QLatin1String(asked));
        w->saveReport();
        QFile file(dir.filePath(QLatin1String(written)));
        QVERIFY2(file.open(QIODevice::ReadOnly) && file.readAll() == expected, written);
    }

    rig.h->fileDialog.answer = dir.filePath(QStringLiteral("chart.png"));
    w->saveChart();
    QFile png(rig.h->fileDialog.answer);
    QVERIFY(png.open(QIODevice::ReadOnly));
    QCOMPARE(png.read(8), QByteArray("\x89PNG\r\n\x1a\n"));
    QVERIFY(rig.h->messages().isEmpty());
}

void MonitorWindowTest::helpAndClosing()
{
    Rig rig(QStringLiteral("1 2 3!"));
    rig.h->shell.status = 42;
    MonitorWindow* w = rig.open(rig.target());
    rig.world.advanceMs(1500);
    // Catches F1 opening the main page, and a window whose probes outlive it.
    w->show();
    w->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(w));
    QTest::keyClick(w, Qt::Key_F1);
    QVERIFY2(rig.h->shell.opened.value(0).endsWith(QStringLiteral("/help/monitor.htm")), qPrintable(rig.h->shell.opened.join(',')));
    rig.open(rig.target());
    QCOMPARE(rig.h->form->monitors().size(), 2);
    QCOMPARE(rig.world.openSockets, 2);
    rig.h->form->close();
    QCOMPARE(rig.h->form->monitors().size(), 0);
    QCOMPARE(rig.world.openSockets, 0);
    const size_t sent = rig.world.sent.size();
    rig.world.advanceMs(3000);
    QCOMPARE(rig.world.sent.size(), sent);
}

void MonitorWindowTest::twoMonitorsAndATrace()
{
    // Catches answers matched to the wrong run when three share one raw view of the traffic.
    Rig rig(QStringLiteral("1 2 3 4!"));
    MonitorWindow* first = rig.open(rig.target());
    rig.h->form->openMonitor(QStringLiteral("198.18.3.1"));
    MonitorWindow* second = rig.h->form->monitors().value(1);
    QVERIFY(second);
    rig.h->openTab(1);
    rig.h->edit("txtRemoteTrace")->setText(rig.target());
    rig.h->button("cmdTraceroute")->click();
    rig.world.advanceMs(10000);
    for (MonitorWindow* w : {first, second}) {
        w->monitor().setPaused(true);
    }
    rig.world.advanceMs(2500);
    const int hops[] = {4, 3};
    for (int i = 0; i < 2; ++i) {
        MonitorTable* table = tableOf(i ? second : first);
        QCOMPARE(table->topLevelItemCount(), hops[i]);
        const int rounds = (i ? second : first)->monitor().model().rounds();
        for (int hop = 1; hop <= hops[i]; ++hop) {
            QCOMPARE(table->rowText(hop).mid(2, 3), (QStringList{"0.0", QString::number(rounds), QString::number(rounds)}));
            QCOMPARE(table->topLevelItem(hop - 1)->childCount(), 0);   // no stranger counted as a responder
        }
    }
    const auto* trace = rig.h->find<ResultsTable>("ListView1");
    QCOMPARE(trace->topLevelItemCount(), 5);
    for (int hop = 1; hop <= 4; ++hop)
        QCOMPARE(trace->row(hop - 1).mid(0, 2), (QStringList{QString::number(hop), QStringLiteral("198.18.%1.1").arg(hop)}));
}

void MonitorWindowTest::chart_data()
{
    QTest::addColumn<int>("view");
    QTest::addColumn<int>("rounds");
    QTest::addColumn<int>("intervalMs");
    QTest::addColumn<int>("points");   // round-trip points; 0: about one per pixel column of the plot
    // Catches a long view drawn a point a round (a stalled window), thinning that loses losses, the
    // average or the band, and rounds drawn one by one as they come.
    QTest::newRow("a minute at 0.1 s: a point a round") << int(MonitorChart::View::LastMinute) << 600 << 100 << 540;
    QTest::newRow("50 minutes at 1 s in the hour view: a point a column") << int(MonitorChart::View::LastHour) << 3000 << 1000 << 0;
    QTest::newRow("3 hours at 1 s: minutes") << int(MonitorChart::View::Everything) << 3 * 3600 << 1000 << 180;
}

void MonitorWindowTest::chart()
{
    QFETCH(int, view);
    QFETCH(int, rounds);
    QFETCH(int, intervalMs);
    QFETCH(int, points);
    monitor::PathModel model;
    double sum = 0;
    const auto addRound = [&](int n) {   // every tenth probe lost, 10..16 ms, from the start of a minute
        const bool lost = n % 10 == 3;
        sum += lost ? 0 : 10 + n % 7;
        model.addRound({1'700'000'040'000 + qint64(n) * intervalMs,
                        {lost ? monitor::HopSample::lost() : monitor::HopSample::reply(QHostAddress(packets::kHost), 10 + n % 7, true)}});
    };
    for (int n = 0; n < rounds; ++n)
        addRound(n);
    MonitorChart chart(nullptr);
    chart.resize(820, 300);
    chart.show();
    QVERIFY(QTest::qWaitForWindowExposed(&chart));
    chart.setView(MonitorChart::View(view));
    chart.showHop(model, 1);

    const qsizetype drawn = chart.roundTrips().size(), columns = qsizetype(chart.chart()->plotArea().width());
    QVERIFY2(points ? drawn == points : drawn <= columns && drawn > columns / 2, qPrintable(QString::number(drawn)));
    QCOMPARE(chart.fromBuckets(), view == int(MonitorChart::View::Everything));
    QVERIFY(!chart.losses().isEmpty() && std::ranges::all_of(chart.losses(), [](const QPointF& p) { return p.y() > 16; }));
    const QList<QAbstractSeries*> series = chart.chart()->series();   // band, average, round trips, losses
    QCOMPARE(static_cast<QLineSeries*>(series[1])->at(0).y(), sum / model.hop(1).received());
    const auto* band = static_cast<QAreaSeries*>(series[0]);
    const auto y = [](const QPointF& p) { return p.y(); };
    QCOMPARE(std::ranges::max(band->upperSeries()->points(), {}, y).y(), 16.0);
    QCOMPARE(std::ranges::min(band->lowerSeries()->points(), {}, y).y(), 10.0);
    QVERIFY(band->upperSeries()->count() <= columns / 8 + 1);   // its fill costs the most: coarse

    // Rounds that come quickly are drawn together, a moment later.
    QSignalSpy redrawn(static_cast<QXYSeries*>(series[2]), &QXYSeries::pointsReplaced);
    for (int n = rounds; n < rounds + 3; ++n, chart.roundAdded(model, 1))
        addRound(n);
    QCOMPARE(redrawn.count(), 0);
    QTRY_COMPARE(redrawn.count(), 1);
}

QTEST_MAIN(MonitorWindowTest)
#include "tst_monitor_window.moc"
