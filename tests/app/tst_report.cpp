// `pathlark --report` run for real with no display: its exit statuses, and its report read back
// as a script would read it, on loopback and on a lab path with a lossy link.
#include "NetLab.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <sys/stat.h>

namespace {

struct Result {
    int status = -1;
    QString out, err;
};

// The program with no graphical session at all, started through `prefix` (a namespace, a user).
Result run(const QStringList& arguments, const QStringList& prefix = {}, const QString& program = PATHLARK_BINARY)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        env.remove(name);
    QProcess p;
    p.setProcessEnvironment(env);
    const QStringList command = prefix + QStringList{program} + arguments;
    p.start(command.first(), command.mid(1));
    if (!p.waitForFinished(25000))
        p.kill(), p.waitForFinished();
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1, p.readAllStandardOutput(), p.readAllStandardError()};
}

// The JSON report's hops once it has the rounds and interval asked and each hop was sent every
// round; none otherwise. (Its keys and the types of their values: tst_monitor's json.)
QJsonArray checkedHops(const QString& json, int rounds)
{
    const QJsonObject top = QJsonDocument::fromJson(json.toUtf8()).object();
    const QJsonArray hops = top["hops"].toArray();
    const bool ok = top["rounds"] == rounds && top["interval"] == 0.1
        && std::ranges::all_of(hops, [rounds](const QJsonValue& hop) { return hop["sent"] == rounds; });
    return ok ? hops : QJsonArray();
}

} // namespace

class TestReport : public QObject {
    Q_OBJECT
private slots:
    // Catches a report that needs a display, stops short of or past its rounds or writes another
    // format than asked; an unknown host (any script, or with no ASCII form) not told as one.
    void loopback()
    {
        const QStringList common{"--report", "127.0.0.1", "--rounds", "3", "--interval", "0.1", "--format"};
        const Result json = run(common + QStringList{"json"}), csv = run(common + QStringList{"csv"}),
                     text = run(common + QStringList{"text"});
        const QJsonArray hops = checkedHops(json.out, 3);
        QVERIFY2(json.status == 0 && hops.size() == 1 && hops[0]["address"] == "127.0.0.1" && hops[0]["loss"] == 0, qPrintable(json.out));
        const QStringList lines = csv.out.split(u'\n');
        QCOMPARE(lines.value(0), "hop,address,name,sent,received,loss,last,avg,best,worst,stdev,jitter,rate_limited,others");
        QVERIFY2(csv.status == 0 && lines.size() == 3 && lines[1].startsWith("1,127.0.0.1,") && lines[1].count(u',') == 13, qPrintable(csv.out));
        QVERIFY2(text.status == 0 && text.out.contains("\n\nNo loss to 127.0.0.1 (127.0.0.1) in 3 rounds; average "), qPrintable(text.out));
        for (const QString host : {"no-such-host.invalid", "bücher.invalid", "ö..invalid"}) {
            const Result unknown = run({"--report", host});
            QVERIFY(unknown.status == 1 && unknown.out.isEmpty() && unknown.err == "pathlark: " + host + ": unknown host\n");
        }
    }

    // Catches a socket that cannot be opened told as success or without the pages' fix-it advice:
    // an ordinary user where ICMP datagram sockets are off.
    void noSocket()
    {
        NetLab lab("bare");
        NETLAB_REQUIRE(lab);
        QTemporaryDir bin;   // where that user can reach the program, wherever the build lives
        QVERIFY(::chmod(qPrintable(bin.path()), 0755) == 0 && QFile::copy(PATHLARK_BINARY, bin.filePath("pathlark")));
        QCOMPARE(QProcess::execute("ip", {"netns", "exec", lab.name("h"), "sysctl", "-qw", "net.ipv4.ping_group_range=1 0"}), 0);
        const Result r = run({"--report", "127.0.0.1"}, {"ip", "netns", "exec", lab.name("h"), "setpriv", "--reuid=nobody",
                                                        "--regid=nogroup", "--clear-groups"}, bin.filePath("pathlark"));
        QVERIFY2(r.status == 1 && r.out.isEmpty() && r.err.startsWith("pathlark: Not allowed to send ICMP") && r.err.contains("ping_group_range"),
                 qPrintable(r.err));
    }

    // Catches loss put at the wrong hop by the real engine: r1 drops 30% of what it forwards each
    // way, so hop 1 (r1 itself) is clean and loss begins at hop 2; hop 3 never answers.
    void lossyLink()
    {
        NetLab lab("path");
        NETLAB_REQUIRE(lab);
        QCOMPARE(QProcess::execute("ip", {"netns", "exec", lab.name("r1"), "nft", "add table inet loss; add chain inet loss lossy "
                                          "{ type filter hook forward priority 0; }; add rule inet loss lossy meta l4proto "
                                          "{ icmp, ipv6-icmp } numgen random mod 100 < 30 drop"}), 0);
        const Result r = run({"--report", "198.18.5.2", "--rounds", "60", "--interval", "0.1", "--format", "json"},
                             {"ip", "netns", "exec", lab.name("h")});
        const QJsonArray hops = checkedHops(r.out, 60);
        const QString verdict = QJsonDocument::fromJson(r.out.toUtf8())["verdict"].toString();
        QVERIFY2(r.status == 0 && hops.size() == 5 && verdict.startsWith("Loss begins at hop 2 (198.18.2.2) and reaches 198.18.5.2: "),
                 qPrintable(r.out + r.err));
        QVERIFY(hops[0]["address"] == "198.18.1.1" && hops[0]["loss"] == 0 && !hops[0]["rate_limited"].toBool());
        QVERIFY(hops[2]["address"].isNull() && hops[2]["name"].isNull() && hops[2]["loss"] == 100 && hops[4]["address"] == "198.18.5.2");
        for (const int hop : {1, 3, 4})   // about half the round trips lost: far from 0 and 100 in 60
            QVERIFY2(hops[hop]["loss"].toDouble() > 20 && hops[hop]["loss"].toDouble() < 85, qPrintable(r.out));
    }
};

QTEST_GUILESS_MAIN(TestReport)
#include "tst_report.moc"
