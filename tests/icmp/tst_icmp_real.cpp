// The real ICMP engine on the lab's five-hop path, 5 ms per link direction (lab/netlab.sh): r3
// silent, 198.19.88.88 refused, 198.19.66.66 silent but answered by a forger (lab/forger.py:
// strangers' replies and errors, a "too big" the probe fits, a late reply; each kind one by one:
// tst_icmp_engine). Each run is this program with --probe in a namespace, as root, nobody, or
// nobody with cap_net_raw; all at once.
#include "NetLab.h"
#include "SimulatedPath.h"
#include "platform/IcmpSocket.h"
#include "platform/InterfaceList.h"

#include <QRegularExpression>
#include <QTemporaryDir>

#include <sys/stat.h>

namespace {

// --probe ping|trace HOST [--raw] [--runs N] [--beside]: drives the real ICMP control
// and prints its events, then after each run "stats|socket kind|elapsed ms|socket still open".
// Like the program, it first takes its raw sockets and drops its capabilities; --raw instead
// keeps root's privilege and uses a raw socket only. --beside runs a second control the same way
// at the same time, silently; the probe fails (5) unless it too got an answer to every echo.
int probe(int argc, char** argv)
{
    const bool rawOnly = QByteArrayList(argv, argv + argc).contains("--raw");
    if (!rawOnly && !openRawSocketsAndDropCapabilities())
        return 4;
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    int runs = args.contains("--runs") ? args.value(args.indexOf("--runs") + 1).toInt() : 1;
    const auto out = [](const QString& line) { std::printf("%s\n", qPrintable(line)), std::fflush(stdout); };

    LinuxInterfaceList interfaces;
    LinuxIcmpSocketFactory sockets(rawOnly);
    QtEngineClock clock;
    SystemNameLookup names;
    AxIcmp control(interfaces, IcmpAdapters{&sockets, &clock, &names});
    QElapsedTimer elapsed;
    logEvents(control, out);
    const auto start = [&] { elapsed.start(), args.value(1) == QLatin1String("trace") ? control.Trace() : control.Ping(); };
    QObject::connect(&control, &IcmpControl::SequenceComplete, [&] {
        const double ms = elapsed.nsecsElapsed() / 1e6;
        // Once the run is over its socket is closed.
        QTimer::singleShot(0, &app, [&, ms] {
            const bool raw = control.socketType() == IcmpSocket::SocketType::Raw;
            out(QStringLiteral("stats|%1|%2|%3").arg(raw ? "raw" : "datagram").arg(ms).arg(control.hasOpenSocket()));
            --runs > 0 ? start() : app.quit();
        });
    });
    QTimer::singleShot(60000, &app, [&] { app.exit(3); });   // a run that never ends fails

    AxIcmp beside(interfaces, IcmpAdapters{&sockets, &clock, &names});
    int besideAnswers = 0;
    QObject::connect(&beside, &IcmpControl::PingData, [&] { ++besideAnswers; });
    control.setHostAddress(args.value(2));
    beside.setHostAddress(args.value(2));
    if (args.contains("--beside"))
        beside.Ping();
    start();
    const int status = app.exec();
    return status == 0 && args.contains("--beside") && besideAnswers != 4 ? 5 : status;
}

// A run: its name; node, user and the probe's arguments; the rows ('#' stands for a trip time,
// '~' for any text); the socket kind it ends up with; its time from the start to SequenceComplete.
struct Run { QString name, command; QStringList rows; QString socket; double minMs, maxMs; };

// The path's hops as a trace of IPv4 (or IPv6) shows them, up to hop 4.
QStringList hopsTo4(bool v6)
{
    const QString r = v6 ? "T|%1|2001:db8:%1::%2|%3|#|TTL expired in transit" : "T|%1|198.18.%1.%2|%3|#|TTL expired in transit";
    return {r.arg(1).arg(1).arg("r1.path.test"), r.arg(2).arg(2).arg(""), "T|3|*||*|Request timed out", r.arg(4).arg(2).arg("r4.path.test")};
}

const QList<Run>& runs()
{
    static const QList<Run> all = [] {
        const QString target = "T|5|198.18.5.2|target.path.test|#|", target6 = "T|5|2001:db8:5::2|target.path.test|#|";
        const QString refused = "Destination net unreachable";
        return QList<Run>{
            // Two runs at once on the raw sockets the capability opened: neither takes the other's answers.
            {"capabilityPingsBeside", "t cap ping 127.0.0.1 --beside", QStringList(4, "P|127.0.0.1|localhost|#|32|64"), "raw", 2900, 4000},
            {"denied", "t nobody ping 127.0.0.1",
             {"E|Not allowed to send ICMP~net.ipv4.ping_group_range~setcap cap_net_raw+ep /~/tst_icmp_real"}, "~", 0, 1000},
            {"unreachablePing", "h root ping 198.19.88.88 --raw", QStringList(4, "E|" + refused + " (from 198.18.5.2)"),
             "raw", 3000, 4000},
            {"datagramTrace6", "h nobody trace target6.path.test", hopsTo4(true) << target6 + "Success", "datagram", 300, 700},
            {"rawTrace6", "h root trace 2001:db8:88::88 --raw", hopsTo4(true) << target6 + refused, "raw", 300, 700},
            {"forgedTrace", "h nobody trace 198.19.66.66", QStringList{"T|1|198.18.1.1|r1.path.test|#|TTL expired in transit"} + silentHops(2),
             "datagram", 1950, 2500},
            // The routers' own ICMP rate limits, as real ones have: two traces in a row both see every hop.
            {"rateLimited", "h nobody trace target.path.test --runs 2 limited",
             hopsTo4(false) << target + "Success" << "C" << "stats|datagram|~|0" << hopsTo4(false) << target + "Success", "datagram", 300, 2500},
            {"huge", "h nobody ping " + QString(10000, u'x'), {"E|No address found for ~"}, "~", 0, 1000},
        };
    }();
    return all;
}

} // namespace

class TestIcmpReal : public QObject {
    Q_OBJECT
    std::unique_ptr<NetLab> m_lab, m_limited;
    QTemporaryDir m_bin;   // the helper where other users can reach it, wherever the build lives
    std::map<QString, QProcess*> m_runs;

private slots:
    void initTestCase()
    {
        m_lab = std::make_unique<NetLab>("path", NetLabOptions{5, false});
        NETLAB_REQUIRE(*m_lab);
        m_limited = std::make_unique<NetLab>("path", NetLabOptions{5, true});
        NETLAB_REQUIRE(*m_limited);
        ::chmod(qPrintable(m_bin.path()), 0755);
        const QString probe = m_bin.filePath("tst_icmp_real"), capable = m_bin.filePath("cap/tst_icmp_real");
        QVERIFY(QDir(m_bin.path()).mkdir("cap") && ::chmod(qPrintable(m_bin.filePath("cap")), 0755) == 0);
        QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), probe) && QFile::copy(probe, capable));
        QVERIFY2(QProcess::execute("setcap", {"cap_net_raw+ep", capable}) == 0, "setcap (package libcap2-bin) failed");
        m_lab->start("r1", {"python3", PATHLARK_LAB_DIR "/forger.py", "--duration", "20"})->waitForReadyRead(5000);
        for (const Run& run : runs()) {
            QStringList words = run.command.split(u' ');
            NetLab& lab = words.removeAll("limited") ? *m_limited : *m_lab;
            QStringList command;
            if (words[1] != QLatin1String("root"))
                command << "setpriv" << "--reuid=nobody" << "--regid=nogroup" << "--clear-groups";
            command << (words[1] == QLatin1String("cap") ? capable : probe) << "--probe" << words.mid(2);
            m_runs[run.name] = lab.start(words[0], command);
        }
    }
    // Fault caught: the capability given (setcap cap_net_raw+ep) kept past opening the sockets, for
    // a plugin an ordinary user puts on QT_PLUGIN_PATH to sniff the network with.
    void capabilityIsGoneBeforePluginsLoad()
    {
        QVERIFY(QDir(m_bin.path()).mkpath("plugins/styles") && QDir(m_bin.path()).mkdir("app"));
        const QString program = m_bin.filePath("app/pathlark"), plugins = m_bin.filePath("plugins");
        QVERIFY(QFile::copy(QCoreApplication::applicationDirPath() + "/../bin/pathlark", program)
                && QFile::copy(QCoreApplication::applicationDirPath() + "/plugins/styles/libcapprobe.so",
                               plugins + "/styles/libcapprobe.so"));
        for (const char* dir : {"plugins", "plugins/styles", "app"})
            ::chmod(qPrintable(m_bin.filePath(dir)), 0755);
        QCOMPARE(QProcess::execute("setcap", {"cap_net_raw+ep", program}), 0);
        QProcess p;
        p.start("setpriv", {"--reuid=nobody", "--regid=nogroup", "--clear-groups", "env", "QT_PLUGIN_PATH=" + plugins,
                            "QT_STYLE_OVERRIDE=capprobe", "QT_QPA_PLATFORM=offscreen", program});
        QVERIFY(p.waitForFinished(20000));
        QCOMPARE(p.readAllStandardOutput().trimmed(), QByteArray("packet socket: Operation not permitted"));
    }

    // Fault caught: a socket path failing or a user without any not told what to change; wrong rows
    // or timing on real sockets, IPv4 and IPv6; forged answers shown (a forged "too big" ending a
    // trace at hop 1), or a silent target not timed out; a rate limit hiding a hop.
    void run_data()
    {
        QTest::addColumn<int>("index");
        for (qsizetype i = 0; i < runs().size(); ++i)
            QTest::newRow(qPrintable(runs()[i].name)) << int(i);
    }
    void run()
    {
        QFETCH(int, index);
        const Run& run = runs()[index];
        QProcess& p = *m_runs[run.name];
        const bool ended = p.waitForFinished(30000);
        const QStringList out = QString::fromUtf8(p.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
        const QStringList expected = QStringList(run.rows) << "C" << "stats|" + run.socket + "|~|0";
        QVERIFY2(ended && p.exitCode() == 0 && out.size() == expected.size(), qPrintable(out.join(u'\n')));
        for (qsizetype i = 0; i < out.size(); ++i) {
            QString pattern = QRegularExpression::escape(expected[i]);
            pattern.replace("\\#", "[0-9.]+ ms").replace("\\~", ".*");
            QVERIFY2(QRegularExpression(QRegularExpression::anchoredPattern(pattern)).match(out[i]).hasMatch(),
                     qPrintable(out[i]));
        }
        const double ms = out.last().section(u'|', 2, 2).toDouble();
        QVERIFY2(ms >= run.minMs && ms < run.maxMs, qPrintable(QStringLiteral("took %1 ms").arg(ms)));
    }
};

int main(int argc, char** argv)
{
    if (argc > 1 && QByteArray(argv[1]) == "--probe")
        return probe(argc, argv);
    QCoreApplication app(argc, argv);
    TestIcmpReal test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_icmp_real.moc"
