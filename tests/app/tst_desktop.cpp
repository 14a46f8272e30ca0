// At home on a Linux desktop: results copied and saved from the table and the text box, and
// the program started from its command line.
#include "FormHarness.h"
#include "app/CommandLine.h"
#include "app/MultiLineTextBox.h"
#include "app/ResultsTable.h"

#include <QAction>
#include <QClipboard>
#include <QProcess>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QtTest>

#include <unistd.h>

namespace {

// Chooses `item` from the context menu of `view`, as the user would.
void choose(QWidget* view, const QString& item)
{
    for (QAction* action : view->actions()) {
        if (action->text().remove(u'&') == item)
            return action->trigger();
    }
    QFAIL(qPrintable("no menu item " + item));
}

// tmpfs mounts of the test's own, unmounted when it ends.
struct Mounts {
    bool add(const QString& at, const char* options)
    {
        return QDir().mkpath(at) && !QProcess::execute("mount", {"-t", "tmpfs", "-o", options, "tmpfs", at}) && (points << at, true);
    }
    ~Mounts() { std::ranges::for_each(points, [](const QString& at) { QProcess::execute("umount", {at}); }); }
    QStringList points;
};

QByteArray read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

} // namespace

class TestDesktop : public QObject {
    Q_OBJECT
private slots:
    // Catches rows copied without headers or selection, a box copied with its layout cuts or stored
    // CR LF, a file saved in another encoding or on a cancel, a failed save not told.
    void copyAndSave()
    {
        FormHarness h;
        QTemporaryDir dir;
        auto* table = h.find<ResultsTable>("ListView1");
        h.form->show();
        QVERIFY(QTest::qWaitForWindowActive(h.form.get()));
        h.edit("txtRemote")->setText("198.18.0.1");
        h.button("cmdPing")->click();
        for (const char* ip : {"198.18.0.1", "198.18.0.2", "2001:db8::1"})
            emit h.icmp->PingData(ip, "münchen.test", "0.04 ms", "Success", 0, 32, 61);
        const QString header = "Hop\tDestination IP\tDest. Domain Name\tTrip Time\tBytes\tTTL\n", row = "--\t%1\tmünchen.test\t0.04 ms\t32\t61\n";
        const QString rows[] = {row.arg("198.18.0.1"), row.arg("198.18.0.2"), row.arg("2001:db8::1")};
        table->topLevelItem(0)->setSelected(true);
        table->topLevelItem(2)->setSelected(true);
        table->setFocus();
        QTest::keyClick(table, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(), header + rows[0] + rows[2]);
        choose(table, "Copy All");
        QCOMPARE(QGuiApplication::clipboard()->text(), header + rows[0] + rows[1] + rows[2]);
        choose(table, "Select All");
        QCOMPARE(table->selectedItems().size(), 3);
        h.fileDialog.answer = dir.filePath("results.txt");
        choose(table, "Save As…");
        QCOMPARE(read(dir.filePath("results.txt")), (header + rows[0] + rows[1] + rows[2]).toUtf8());

        MultiLineTextBox* box = h.textBox();
        box->show();
        box->setText(QStringLiteral("IP:  198.18.0.1\r\nHost Name: münchen.test\r\r\n") + QString(9000, u'x'));
        const QString shown = QStringLiteral("IP:  198.18.0.1\nHost Name: münchen.test\n") + QString(9000, u'x');
        choose(box, "Copy All");
        QCOMPARE(QGuiApplication::clipboard()->text(), shown);
        QGuiApplication::clipboard()->clear();
        choose(box, "Select All");
        box->setFocus();
        QTest::keyClick(box, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(), shown);
        h.fileDialog.answer = dir.filePath("answer.txt");
        choose(box, "Save As…");
        QCOMPARE(read(dir.filePath("answer.txt")), shown.toUtf8());

        h.fileDialog.answer.clear();   // cancelled
        choose(box, "Save As…");
        h.fileDialog.answer = dir.filePath("no such folder/answer.txt");
        choose(box, "Save As…");
        QCOMPARE(h.messageBox.shown.size(), size_t(1));
        QVERIFY(h.messageBox.shown[0].prompt.startsWith("Could not save " + dir.filePath("no such folder/answer.txt")));
        QCOMPARE(h.fileDialog.asked.size(), 4);
    }

    // Catches a failed save told without its reason or not at all, a cut or empty file left behind
    // or put in place of the old one, or the results lost: a full disk (a 4 KiB tmpfs) and a
    // read-only one (root: the mounts), a folder gone, a file or folder the user may not write to.
    void saveFailures()
    {
        QTemporaryDir dir;
        Mounts mounts;
        const bool root = ::geteuid() == 0;
        if (root) {
            QVERIFY(mounts.add(dir.filePath("full"), "size=4k") && mounts.add(dir.filePath("ro"), "size=64k"));
            QFile old(dir.filePath("ro/old.txt"));
            QVERIFY(old.open(QIODevice::WriteOnly) && old.write("old") == 3 && (old.close(), true));
            QCOMPARE(QProcess::execute("mount", {"-o", "remount,ro", dir.filePath("ro")}), 0);
        }
        QVERIFY(QDir(dir.path()).mkpath("closed") && QDir(dir.path()).mkpath("open"));
        QFile(dir.filePath("closed")).setPermissions({});
        // Folder, file, an old file there (empty: none), the reason told; root or not (-1: either).
        const std::tuple<const char*, const char*, QByteArray, const char*, int> cases[] = {
            {"full", "new.txt", "", "No space left on device", 1}, {"full", "old.txt", "old", "No space left on device", 1},
            {"ro", "old.txt", "old", "is not writable", 1}, {"gone", "a.txt", "", "No such file or directory", -1},
            {"closed", "a.txt", "", "Permission denied", 0}, {"open", "locked.txt", "old", "is not writable", 0}};
        for (const auto& [folder, file, old, reason, asRoot] : cases) {
            if (asRoot >= 0 && asRoot != int(root))
                continue;
            const QString path = dir.filePath(QString(folder) + '/' + file);
            if (!old.isEmpty() && !QFile::exists(path)) {
                QFile f(path);
                QVERIFY(f.open(QIODevice::WriteOnly) && f.write(old) == old.size());
                f.setPermissions(QString(file) == "locked.txt" ? QFile::ReadOwner : f.permissions());
            }
            FormHarness h;
            h.textBox()->setText(QString(20000, u'x'));
            h.fileDialog.answer = path;
            choose(h.textBox(), "Save As…");
            const auto& told = h.messageBox.shown.at(0);
            QVERIFY2(told.prompt.startsWith("Could not save " + path + ": ") && told.prompt.endsWith(reason) && told.title == "Pathlark"
                         && told.flags == MessageBox::kExclamation && h.messageBox.shown.size() == 1, qPrintable(h.messages()));
            QCOMPARE(read(path), old.isEmpty() ? QByteArray("(none)") : old);
            QCOMPARE(QDir(dir.filePath(folder)).entryList(QDir::Files), old.isEmpty() ? QStringList() : QStringList{file});
            QCOMPARE(h.textBox()->text(), QString(20000, u'x'));
        }
        if (!root)
            QSKIP("a full and a read-only disk need root to mount them (CI runs as root)");
    }

    // Catches options misread: values taken from the next option, Qt's own refused, a second page
    // or a stray word accepted, a host with spaces split, a zone that is no domain name taken.
    void commandLine()
    {
        const QString rounds = "--rounds must be a whole number from 1 to 100000, not \"%1\"",
                      interval = "--interval must be a number of seconds from 0.1 to 60, not \"%1\"";
        // Arguments; action page host start server port (then, after "|", the monitor's), or the refusal.
        const std::pair<QStringList, QString> cases[] = {
            {{}, "0 -1  0  "}, {{"--traceroute", "two words"}, "0 1 two words 1  "},
            {{"--lookup", "-platform", "offscreen"}, "0 2  0  "}, {{"--ping=-x"}, "0 0 -x 1  "},
            {{"--whois", "example.org", "--server", "whois.test", "--port", "4343"}, "0 3 example.org 1 whois.test 4343"},
            {{"--version", "--help"}, "2 -1  0  "}, {{"--help", "--bogus"}, "1 -1  0  "},
            {{"--bogus"}, "unknown option \"--bogus\""}, {{"--ping", "a", "b"}, "unexpected argument \"b\""},
            {{"--ping", "--whois"}, "only one of --ping, --traceroute, --lookup and --whois can be given"},
            {{"--ping", "a", "--server", "s"}, "--server and --port go with --whois"},
            {{"--whois", "d", "--port"}, "option --port needs a value"},
            {{"--no-referrals", "--whois", "d"}, "0 3 d 1   no referrals"}, {{"--ping", "--no-referrals"}, "--no-referrals goes with --whois"},
            // The monitor and the report: then also monitor, report, rounds, interval, format.
            {{"--report", "h"}, "3 -1  0  | h 10 1 0"}, {{"--report=-x", "--format", "text"}, "3 -1  0  | -x 10 1 0"},
            {{"--report", "h", "--rounds", "100000", "--interval", "60", "--format", "json"}, "3 -1  0  | h 100000 60 2"},
            {{"--rounds=1", "--interval=0.1", "--format=csv", "--report", "h"}, "3 -1  0  | h 1 0.1 1"},
            {{"--traceroute", "a", "--monitor", "bücher.example"}, "0 1 a 1  |bücher.example  10 1 0"},
            {{"--monitor"}, "0 1  0  |  10 1 0"}, {{"--monitor", "--whois"}, "0 3  0  |  10 1 0"},
            {{"--report", "h", "--rounds", "0"}, rounds.arg(0)}, {{"--report", "h", "--rounds", "100001"}, rounds.arg(100001)},
            {{"--report", "h", "--rounds", "ten"}, rounds.arg("ten")}, {{"--report", "h", "--interval", "0.09"}, interval.arg("0.09")},
            {{"--report", "h", "--interval", "61"}, interval.arg(61)}, {{"--report", "h", "--interval", "nan"}, interval.arg("nan")},
            {{"--report", "h", "--format", "xml"}, "--format must be text, csv or json, not \"xml\""},
            {{"--report", "h", "--rounds"}, "option --rounds needs a value"}, {{"--report"}, "option --report needs a host"},
            {{"--report", ""}, "option --report needs a host"}, {{"--report", "a b"}, "the host \"a b\" contains blanks"},
            {{"--monitor", "a\tb"}, "the host \"a\tb\" contains blanks"},
            {{"--rounds", "3"}, "--rounds, --interval and --format go with --report"},
            {{"--report", "h", "--ping", "h"}, "--report runs without a window; give it alone"},
            // AS lookups: then also "#", off, zone.
            {{"--no-asn", "--ping", "h"}, "0 0 h 1  #1 "}, {{"--asn-zone", "asn.lab.test", "--report", "h"}, "3 -1  0  #0 asn.lab.test"},
            {{"--asn-zone=-x.test"}, "--asn-zone must be a domain name, not \"-x.test\""},
            {{"--asn-zone", "a..b"}, "--asn-zone must be a domain name, not \"a..b\""}, {{"--asn-zone"}, "option --asn-zone needs a value"}};
        for (const auto& [arguments, parsed] : cases) {
            const CommandLine l = CommandLine::parse(QStringList{"pathlark"} + arguments);
            const QString monitor = QStringLiteral("|%1 %2 %3 %4 %5").arg(l.monitorHost, l.reportHost).arg(l.rounds)
                                        .arg(l.intervalSeconds).arg(int(l.format));
            const QString window = QStringLiteral("%1 %2 %3 %4 %5 %6").arg(int(l.action)).arg(int(l.page)).arg(l.host)
                                       .arg(l.start).arg(l.server, l.port) + (l.followReferrals ? "" : " no referrals");
            const QString asn = QStringLiteral("#%1 %2").arg(l.noAsn).arg(l.asnZone);
            QCOMPARE(l.action == CommandLine::Action::Refuse ? l.error
                         : parsed.contains(u'|')               ? window + monitor
                         : parsed.contains(u'#')               ? window + asn
                                                                : window, parsed);
        }
    }

    // Catches a page opened without its box filled, its action not started as a click would be,
    // or started when only the page was asked for.
    void openPage()
    {
        FormHarness h;
        h.form->openPage(Page::Ping, "198.18.0.1", true);
        h.form->openPage(Page::Traceroute, {}, false);
        QVERIFY(h.tabs()->currentIndex() == 1 && h.icmp->traces == 0 && h.icmp->pings == 1 && h.icmp->hostAddress == "198.18.0.1");
        h.form->openPage(Page::Whois, "example.org", true, "198.18.0.9", "4343");
        QVERIFY(h.tcp->connects == 1 && h.tcp->remotePort == 4343);
    }
};

QTEST_MAIN(TestDesktop)
#include "tst_desktop.moc"
