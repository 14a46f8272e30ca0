// The real ICMP engine on real sockets, in network namespaces this test builds: a five-hop
// path with a silent router, a refusing router and a black hole (netns_path.sh). Every run
// is the helper icmp_probe inside a namespace, as root or as an unprivileged user; all runs
// go at once, so the slowest (the black hole, about 6 s) sets the test's time.
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>

#include <unistd.h>

namespace {

// A run: its name; node, user and icmp_probe's arguments; the rows ('#' stands for a trip time,
// '~' for any text); the socket kind it ends up with; its time from the start to SequenceComplete.
struct Run { QString name, command; QStringList rows; QString socket; double minMs, maxMs; };

// Node t keeps ping_group_range at "1 0", so datagram sockets are refused there even to root.
const QList<Run>& runs()
{
    static const QList<Run> all = [] {
        const QStringList loopback = QStringList(4, "P|127.0.0.1|localhost|#|32|64") << "C";
        const QStringList path{"T|1|198.18.1.1|r1.path.test|#|TTL expired in transit", "T|2|*||*|Request timed out",
                               "T|3|198.18.3.2|r3.path.test|#|TTL expired in transit",
                               "T|4|198.18.4.2||#|TTL expired in transit",
                               "T|5|198.18.5.2|target.path.test|#|Success", "C"};
        QStringList blackHole{"T|1|~", "T|2|~", "T|3|198.18.3.2|~"};
        for (int hop = 4; hop <= 30; ++hop)
            blackHole << QStringLiteral("T|%1|*||*|Request timed out").arg(hop);
        return QList<Run>{
            {"rawPing", "t root ping 127.0.0.1", loopback, "raw", 2900, 4000},
            {"datagramPing", "h nobody ping 127.0.0.1", loopback, "datagram", 2900, 4000},
            {"denied", "t nobody ping 127.0.0.1", {"E|Not allowed to send ICMP~net.ipv4.ping_group_range~", "C"},
             "~", 0, 1000},
            {"unreachablePing", "h root ping 198.19.88.88 --raw",
             QStringList(4, "E|Destination host unreachable (from 198.18.3.2)") << "C", "raw", 2900, 4000},
            {"blackHolePing", "h nobody ping 198.19.99.99", QStringList(4, "E|Request timed out") << "C", "datagram",
             4900, 5600},
            {"datagramTrace", "h nobody trace target.path.test", path, "datagram", 0, 1500},
            {"rawTrace", "h root trace 198.18.5.2 --raw", path, "raw", 0, 1500},
            {"unreachableTrace", "h nobody trace 198.19.88.88",
             {"T|1|~", "T|2|~", "T|3|~", "T|4|198.18.3.2|r3.path.test|#|Destination host unreachable", "C"},
             "datagram", 0, 1500},
            {"blackHoleTrace", "h nobody trace 198.19.99.99", blackHole << "C", "datagram", 5900, 7000},
            {"cancel", "h nobody trace 198.18.5.2 --cancel-at 2", {"T|1|~", "T|2|~", "C"}, "datagram", 0, 1500},
            {"outOfRange", "h nobody ping 300.1.1.1", {"E|No IPv4 address found for 300.1.1.1", "C"}, "~", 0, 1000},
            {"huge", "h nobody ping " + QString(10000, u'x'), {"E|No IPv4 address found for ~", "C"}, "~", 0, 1000},
        };
    }();
    return all;
}

} // namespace

class TestIcmpReal : public QObject {
    Q_OBJECT
public:
    ~TestIcmpReal() override { cleanupTestCase(); }

private:
    const QString m_prefix = QStringLiteral("pl-icmp-%1-t").arg(::getpid());
    bool m_up = false;
    std::map<QString, std::unique_ptr<QProcess>> m_runs;

    int pathScript(const char* command) const
    {
        return QProcess::execute("bash", {PATHLARK_ICMP_TESTS_DIR "/netns_path.sh", command, m_prefix});
    }

private slots:
    void initTestCase()
    {
        if (::geteuid() != 0 || pathScript("up") != 0)
            QSKIP("needs root, ip netns, veth and nft to build the test's network namespaces (CI has them)");
        m_up = true;
        for (const Run& run : runs()) {
            const QStringList words = run.command.split(u' ');
            QStringList command{"netns", "exec", m_prefix + u'-' + words[0]};
            if (words[1] == QLatin1String("nobody"))
                command << "setpriv" << "--reuid=nobody" << "--regid=nogroup" << "--clear-groups";
            command << QCoreApplication::applicationDirPath() + "/icmp_probe" << words.mid(2);
            (m_runs[run.name] = std::make_unique<QProcess>())->start("ip", command);
        }
    }
    void cleanupTestCase()
    {
        m_runs.clear();
        if (std::exchange(m_up, false))
            pathScript("down");
    }

    // Fault caught: the raw or the datagram path failing, or a user without either not told what
    // to change; rows, their order or timing wrong for replies, ICMP errors, lost echoes, silent
    // and refusing routers, black holes and Cancel; hostile hosts crashing; sockets left open.
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
        QVERIFY2(ended && p.exitCode() == 0 && out.size() == run.rows.size() + 1, qPrintable(out.join(u'\n')));
        const QStringList expected = QStringList(run.rows) << "stats|" + run.socket + "|~|0";
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
