// The real ICMP engine on real sockets, on the lab's five-hop path with 5 ms of delay on every
// link direction: r3 silent, 198.19.88.88 refused by the target, 198.19.99.99 a black hole
// behind r1, 198.19.66.66 answered only by a forger in r1 (lab/netlab.sh). Every run is the
// helper icmp_probe inside a namespace, as root, as an unprivileged user, or as that user with a
// copy given cap_net_raw; all runs go at once, so the slowest (a black-hole ping, 5 s) sets the
// test's time.
#include "NetLab.h"

#include <QRegularExpression>
#include <QTemporaryDir>

#include <sys/stat.h>

namespace {

// A run: its name; node, user and icmp_probe's arguments; the rows ('#' stands for a trip time,
// '~' for any text); the socket kind it ends up with; its time from the start to SequenceComplete.
struct Run { QString name, command; QStringList rows; QString socket; double minMs, maxMs; };

QStringList times(int n, const QString& row) { return QStringList(n, row); }

QStringList silentHops(int from)
{
    QStringList rows;
    for (int hop = from; hop <= 30; ++hop)
        rows << QStringLiteral("T|%1|*||*|Request timed out").arg(hop);
    return rows;
}

// The path's hops as a trace of IPv4 (or IPv6) shows them, up to hop 4.
QStringList hopsTo4(bool v6)
{
    const QString r = v6 ? "2001:db8:%1::%2" : "198.18.%1.%2";
    return {"T|1|" + r.arg(1).arg(1) + "|r1.path.test|#|TTL expired in transit",
            "T|2|" + r.arg(2).arg(2) + "||#|TTL expired in transit", "T|3|*||*|Request timed out",
            "T|4|" + r.arg(4).arg(2) + "|r4.path.test|#|TTL expired in transit"};
}

const QList<Run>& runs()
{
    static const QList<Run> all = [] {
        const QString target = "T|5|198.18.5.2|target.path.test|#|", target6 = "T|5|2001:db8:5::2|target.path.test|#|";
        const QString refused = "Destination net unreachable";
        const QStringList hole = QStringList{"T|1|198.18.1.1|r1.path.test|#|TTL expired in transit"} + silentHops(2);
        return QList<Run>{
            {"rawPing", "t root ping 127.0.0.1 --raw", times(4, "P|127.0.0.1|localhost|#|32|64"), "raw", 2900, 4000},
            {"datagramPing", "h nobody ping target.path.test", times(4, "P|198.18.5.2|target.path.test|#|32|60"),
             "datagram", 3000, 4000},
            {"datagramPing6", "h nobody ping 2001:db8:5::2", times(4, "P|2001:db8:5::2|target.path.test|#|32|60"),
             "datagram", 3000, 4000},
            {"capabilityPing", "t cap ping 127.0.0.1", times(4, "P|127.0.0.1|localhost|#|32|64"), "raw", 2900, 4000},
            {"denied", "t nobody ping 127.0.0.1",
             {"E|Not allowed to send ICMP~net.ipv4.ping_group_range~setcap cap_net_raw+ep /~/icmp_probe"}, "~", 0, 1000},
            {"unreachablePing", "h root ping 198.19.88.88 --raw", times(4, "E|" + refused + " (from 198.18.5.2)"),
             "raw", 3000, 4000},
            {"blackHolePing", "h nobody ping 198.19.99.99", times(4, "E|Request timed out"), "datagram", 4900, 5600},
            {"datagramTrace", "h nobody trace target.path.test", hopsTo4(false) << target + "Success", "datagram", 300, 700},
            {"rawTrace", "h root trace 198.18.5.2 --raw", hopsTo4(false) << target + "Success", "raw", 300, 700},
            {"datagramTrace6", "h nobody trace target6.path.test", hopsTo4(true) << target6 + "Success", "datagram", 300, 700},
            {"rawTrace6", "h root trace 2001:db8:88::88 --raw", hopsTo4(true) << target6 + refused, "raw", 300, 700},
            {"unreachableTrace", "h nobody trace 198.19.88.88", hopsTo4(false) << target + refused, "datagram", 300, 700},
            {"blackHoleTrace", "h nobody trace 198.19.99.99", hole, "datagram", 1950, 2500},
            {"cancelInBlackHole", "h nobody trace 198.19.99.99 --cancel-after 1200", hole.mid(0, 2), "datagram", 1950,
             3200},
            {"forgedPing", "h nobody ping 198.19.66.66", times(4, "E|Request timed out"), "datagram", 4900, 5600},
            {"forgedPing6", "h nobody ping 2001:db8:66::66", times(4, "E|Request timed out"), "datagram", 4900, 5600},
            {"forgedTrace", "h nobody trace 198.19.66.66", hole, "datagram", 1950, 2500},
            // The routers' own ICMP rate limits, as real ones have: two traces in a row both see every hop.
            {"rateLimited", "h nobody trace 198.19.88.88 --runs 2 limited",
             hopsTo4(false) << target + refused << "C" << "stats|datagram|~|0" << hopsTo4(false) << target + refused,
             "datagram",
             300, 2500},
            {"outOfRange", "h nobody ping 300.1.1.1", {"E|No address found for 300.1.1.1"}, "~", 0, 1000},
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
        const QString probe = m_bin.filePath("icmp_probe"), capable = m_bin.filePath("cap/icmp_probe");
        QVERIFY(QDir(m_bin.path()).mkdir("cap") && ::chmod(qPrintable(m_bin.filePath("cap")), 0755) == 0);
        QVERIFY(QFile::copy(QCoreApplication::applicationDirPath() + "/icmp_probe", probe) && QFile::copy(probe, capable));
        QVERIFY2(QProcess::execute("setcap", {"cap_net_raw+ep", capable}) == 0, "setcap (package libcap2-bin) failed");
        m_lab->start("r1", {"python3", PATHLARK_LAB_DIR "/forger.py", "--duration", "20"})->waitForReadyRead(5000);
        for (const Run& run : runs()) {
            QStringList words = run.command.split(u' ');
            NetLab& lab = words.removeAll("limited") ? *m_limited : *m_lab;
            QStringList command;
            if (words[1] != QLatin1String("root"))
                command << "setpriv" << "--reuid=nobody" << "--regid=nogroup" << "--clear-groups";
            command << (words[1] == QLatin1String("cap") ? capable : probe) << words.mid(2);
            m_runs[run.name] = lab.start(words[0], command);
        }
    }
    // Fault caught: the program keeping the capability it was given (setcap cap_net_raw+ep) past
    // opening its sockets, so that a plugin loaded later from QT_PLUGIN_PATH by an ordinary user
    // could sniff the network with it.
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
    void cleanupTestCase()
    {
        m_lab.reset();
        m_limited.reset();
    }

    // Fault caught: the raw, the capability or the datagram path failing, or a user without any
    // not told what to change; rows, their order or timing wrong for replies, ICMP errors, lost
    // echoes, silent and refusing routers, black holes and Cancel, on IPv4 and IPv6 alike; a
    // forged answer (from elsewhere, about another destination, too late) shown as the program's;
    // a router's rate limit hiding a hop; hostile hosts crashing; sockets left open.
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

QTEST_GUILESS_MAIN(TestIcmpReal)
#include "tst_icmp_real.moc"
