// `pathlark --report`: the program run for real with no display, its exit statuses, and its
// report read back as a script would read it; on loopback and on a lab path with a lossy link.
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

// The program with no graphical session at all: no display, no Wayland, no Qt platform.
Result runReport(const QStringList& arguments, const QString& program = PATHLARK_BINARY, const QStringList& prefix = {})
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

// The JSON report, every field of the object and of each hop with its type; the hops.
QJsonArray checkedJson(const QString& text, int rounds, double interval)
{
    QJsonParseError error;
    const QJsonObject report = QJsonDocument::fromJson(text.toUtf8(), &error).object();
    [&] { QVERIFY2(error.error == QJsonParseError::NoError, qPrintable(error.errorString() + '\n' + text)); }();
    // Sorted, as QJsonObject::keys() gives them.
    const QStringList top{"address", "hops", "interval", "rounds", "target", "verdict"};
    const QStringList hopKeys{"address", "avg", "best", "hop", "jitter", "last", "loss", "name", "others", "rate_limited",
                              "received", "sent", "stdev", "worst"};
    [&] {
        QCOMPARE(report.keys(), top);
        QVERIFY(report["target"].isString() && report["address"].isString() && report["verdict"].isString());
        QCOMPARE(report["rounds"].toInt(), rounds);
        QCOMPARE(report["interval"].toDouble(), interval);
        for (const QJsonValue& value : report["hops"].toArray()) {
            const QJsonObject hop = value.toObject();
            QCOMPARE(hop.keys(), hopKeys);
            const bool heard = hop["received"].toInt() > 0;
            for (const char* key : {"last", "avg", "best", "worst", "stdev", "jitter"})
                QVERIFY2(heard ? hop[key].isDouble() : hop[key].isNull(), key);
            QVERIFY(heard ? hop["address"].isString() : hop["address"].isNull());
            QVERIFY(hop["name"].isString() || hop["name"].isNull());
            QVERIFY(hop["hop"].isDouble() && hop["sent"].isDouble() && hop["received"].isDouble() && hop["loss"].isDouble());
            QVERIFY(hop["rate_limited"].isBool() && hop["others"].isArray());
            QCOMPARE(hop["sent"].toInt(), rounds);
        }
    }();
    return report["hops"].toArray();
}

} // namespace

class TestReport : public QObject {
    Q_OBJECT
private slots:
    // Catches a bad option that runs a report anyway, exits with another status, or says nothing
    // of why on stderr; the report path that needs a display.
    void badOptions()
    {
        const std::pair<QStringList, QString> cases[] = {
            {{"--report", "127.0.0.1", "--rounds", "0"}, "--rounds must be a whole number from 1 to 100000, not \"0\""},
            {{"--report", "127.0.0.1", "--rounds", "100001"}, "--rounds must be a whole number from 1 to 100000, not \"100001\""},
            {{"--report", "127.0.0.1", "--rounds", "ten"}, "--rounds must be a whole number from 1 to 100000, not \"ten\""},
            {{"--report", "127.0.0.1", "--interval", "0.09"}, "--interval must be a number of seconds from 0.1 to 60, not \"0.09\""},
            {{"--report", "127.0.0.1", "--interval", "61"}, "--interval must be a number of seconds from 0.1 to 60, not \"61\""},
            {{"--report", "127.0.0.1", "--interval", "nan"}, "--interval must be a number of seconds from 0.1 to 60, not \"nan\""},
            {{"--report", "127.0.0.1", "--format", "xml"}, "--format must be text, csv or json, not \"xml\""},
            {{"--report", "127.0.0.1", "--rounds"}, "option --rounds needs a value"},
            {{"--report"}, "option --report needs a host"}, {{"--report", ""}, "option --report needs a host"},
            {{"--report", "--rounds", "3"}, "option --report needs a host"},
            {{"--report", "two words"}, "the host \"two words\" contains blanks"},
            {{"--monitor", "a\tb"}, "the host \"a\tb\" contains blanks"}, {{"--monitor"}, "option --monitor needs a host"},
            {{"--rounds", "3"}, "--rounds, --interval and --format go with --report"},
            {{"--monitor", "h", "--format", "csv"}, "--rounds, --interval and --format go with --report"},
            {{"--report", "h", "--ping", "h"}, "--report runs without a window; give it alone"},
            {{"--report", "h", "--monitor", "h"}, "--report runs without a window; give it alone"}};
        for (const auto& [arguments, reason] : cases) {
            const Result r = runReport(arguments);
            QCOMPARE(r.err, "pathlark: " + reason + "\nTry 'pathlark --help' for the options.\n");
            QVERIFY(r.status == 2 && r.out.isEmpty());
        }
    }

    // Catches a report that needs a display, stops short of or past its rounds, or writes a
    // format other than the one asked; an unknown host not told as one or not ending with 1.
    void loopback()
    {
        const QStringList common{"--report", "127.0.0.1", "--rounds", "3", "--interval", "0.1", "--format"};
        const Result json = runReport(common + QStringList{"json"});
        QVERIFY2(json.status == 0 && json.err.isEmpty(), qPrintable(json.err));
        const QJsonArray hops = checkedJson(json.out, 3, 0.1);
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(hops.size(), 1);
        QCOMPARE(hops[0]["address"].toString(), "127.0.0.1");
        QCOMPARE(hops[0]["loss"].toDouble(), 0.0);

        const Result csv = runReport(common + QStringList{"csv"});
        const QStringList lines = csv.out.split(u'\n');
        QCOMPARE(lines.value(0), "hop,address,name,sent,received,loss,last,avg,best,worst,stdev,jitter,rate_limited,others");
        QVERIFY2(csv.status == 0 && lines.size() == 3 && lines[1].startsWith("1,127.0.0.1,") && lines[2].isEmpty(), qPrintable(csv.out));
        QCOMPARE(lines[1].split(u',').size(), 14);

        const Result text = runReport(common + QStringList{"text"});
        QVERIFY2(text.status == 0 && text.out.contains("  1.|-- ") && text.out.contains("\n\nNo loss to 127.0.0.1 (127.0.0.1) in 3 rounds; average "),
                 qPrintable(text.out));

        // Any script, and a name that has no ASCII form, which nobody is asked about.
        for (const QString host : {"no-such-host.invalid", "bücher.invalid", "ö..invalid"}) {
            const Result unknown = runReport({"--report", host, "--rounds", "1"});
            QCOMPARE(unknown.err, "pathlark: " + host + ": unknown host\n");
            QVERIFY(unknown.status == 1 && unknown.out.isEmpty());
        }
    }

    // Catches a socket that could not be opened reported as success or without the fix-it
    // advice the pages give: an ordinary user where ICMP datagram sockets are off.
    void noSocket()
    {
        NetLab lab("bare");
        NETLAB_REQUIRE(lab);
        QTemporaryDir bin;
        const QString program = bin.filePath("pathlark");
        QVERIFY(::chmod(qPrintable(bin.path()), 0755) == 0 && QFile::copy(PATHLARK_BINARY, program));
        QCOMPARE(QProcess::execute("ip", {"netns", "exec", lab.name("h"), "sysctl", "-qw", "net.ipv4.ping_group_range=1 0"}), 0);
        const Result r = runReport({"--report", "127.0.0.1", "--rounds", "1"}, program,
                                   {"ip", "netns", "exec", lab.name("h"), "setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"});
        QVERIFY2(r.status == 1 && r.out.isEmpty() && r.err.startsWith("pathlark: Not allowed to send ICMP")
                     && r.err.contains("ping_group_range"),
                 qPrintable(r.err));
    }

    // Catches loss placed at the wrong hop by the real engine: 30% of what r1 forwards is dropped,
    // so hop 1 (r1 itself) is clean and loss begins at hop 2; hop 3 never answers.
    void lossyLink()
    {
        NetLab lab("path");
        NETLAB_REQUIRE(lab);
        QCOMPARE(QProcess::execute("ip", {"netns", "exec", lab.name("r1"), "nft",
                                          "add table inet loss; add chain inet loss lossy { type filter hook forward priority 0; }; "
                                          "add rule inet loss lossy meta l4proto { icmp, ipv6-icmp } numgen random mod 100 < 30 drop"}),
                 0);
        const Result r = runReport({"--report", "198.18.5.2", "--rounds", "60", "--interval", "0.1", "--format", "json"},
                                   PATHLARK_BINARY, {"ip", "netns", "exec", lab.name("h")});
        QVERIFY2(r.status == 0, qPrintable(r.err));
        const QJsonArray hops = checkedJson(r.out, 60, 0.1);
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(hops.size(), 5);
        const QJsonObject report = QJsonDocument::fromJson(r.out.toUtf8()).object();
        QVERIFY2(report["verdict"].toString().startsWith("Loss begins at hop 2 (198.18.2.2) and reaches 198.18.5.2: "), qPrintable(r.out));
        QCOMPARE(hops[0]["address"].toString(), "198.18.1.1");
        QCOMPARE(hops[0]["loss"].toDouble(), 0.0);
        QCOMPARE(hops[0]["rate_limited"].toBool(), false);
        QVERIFY(hops[2]["address"].isNull() && hops[2]["name"].isNull() && hops[2]["loss"].toDouble() == 100);
        for (const int hop : {1, 3, 4})   // 30% each way: about half the round trips; far from 0 or 100 in 60
            QVERIFY2(hops[hop]["loss"].toDouble() > 20 && hops[hop]["loss"].toDouble() < 85, qPrintable(r.out));
        QCOMPARE(hops[4]["address"].toString(), "198.18.5.2");
    }
};

QTEST_GUILESS_MAIN(TestReport)
#include "tst_report.moc"
