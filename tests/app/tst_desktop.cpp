// At home on a Linux desktop: results copied and saved from the table and the text box, and
// the program started from its command line.
#include "FormHarness.h"
#include "app/CommandLine.h"
#include "app/MultiLineTextBox.h"
#include "app/ResultsTable.h"

#include <QAction>
#include <QClipboard>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QtTest>

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

QByteArray read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

} // namespace

class TestDesktop : public QObject {
    Q_OBJECT
private slots:
    // Catches rows copied without their headers, out of order, with the selection ignored or
    // lost in a save; a box copied with the cuts made for layout or its CR LF as they are stored;
    // a file saved in another encoding, on a cancel, or a failed save not told.
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
        const QString header = "Hop\tDestination IP\tDest. Domain Name\tTrip Time\tBytes\tTTL\n";
        const QString rows[] = {"--\t198.18.0.1\tmünchen.test\t0.04 ms\t32\t61\n", "--\t198.18.0.2\tmünchen.test\t0.04 ms\t32\t61\n",
                                "--\t2001:db8::1\tmünchen.test\t0.04 ms\t32\t61\n"};
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

    // Catches options misread (values taken from the next option, Qt's own refused, a second
    // page or a stray word accepted) and a page opened without its box filled or its action
    // started as a click would, or started without a host.
    void commandLine_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QString>("parsed");   // action page host start server port, or the refusal
        QTest::newRow("none") << "" << "0 -1  0  ";
        QTest::newRow("ping a host") << "--ping 198.18.0.1" << "0 0 198.18.0.1 1  ";
        QTest::newRow("a host with spaces") << "--traceroute|two words" << "0 1 two words 1  ";
        QTest::newRow("page only") << "--lookup" << "0 2  0  ";
        QTest::newRow("page only, then Qt's option") << "--lookup -platform offscreen" << "0 2  0  ";
        QTest::newRow("a value with a dash") << "--ping=-x" << "0 0 -x 1  ";
        QTest::newRow("whois in full") << "--whois example.org --server whois.test --port 4343"
                                       << "0 3 example.org 1 whois.test 4343";
        QTest::newRow("help") << "--version --help" << "2 -1  0  ";
        QTest::newRow("help first") << "--help --bogus" << "1 -1  0  ";
        QTest::newRow("unknown") << "--bogus" << "unknown option \"--bogus\"";
        QTest::newRow("stray word") << "--ping a b" << "unexpected argument \"b\"";
        QTest::newRow("two pages") << "--ping --whois" << "only one of --ping, --traceroute, --lookup and --whois can be given";
        QTest::newRow("server without whois") << "--ping a --server s" << "--server and --port go with --whois";
        QTest::newRow("port without value") << "--whois d --port" << "option --port needs a value";
    }
    void commandLine()
    {
        QFETCH(QString, arguments);
        QStringList args{"pathlark"};
        if (!arguments.isEmpty())
            args << arguments.split(arguments.contains(u'|') ? u'|' : u' ');
        const CommandLine line = CommandLine::parse(args);
        QTEST(line.action == CommandLine::Action::Refuse
                  ? line.error
                  : QStringLiteral("%1 %2 %3 %4 %5 %6").arg(int(line.action)).arg(line.page).arg(line.host).arg(line.start)
                        .arg(line.server, line.port),
              "parsed");
    }

    // Catches a page opened without its box filled, its action not started as a click would be
    // (connection test included), or started when only the page was asked for.
    void openPage()
    {
        FormHarness h;
        h.form->openPage(0, "198.18.0.1", true);
        QCOMPARE(h.icmp->pings, 1);
        QCOMPARE(h.icmp->hostAddress, QStringLiteral("198.18.0.1"));
        h.form->openPage(1, {}, false);
        QCOMPARE(h.find<QTabWidget>("SSTab1")->currentIndex(), 1);
        QCOMPARE(h.icmp->traces, 0);
        h.form->openPage(3, "example.org", true, "198.18.0.9", "4343");
        QCOMPARE(h.tcp->connects, 1);
        QCOMPARE(h.tcp->remotePort, 4343);
        FormHarness offline({.connected = false});
        offline.messageBox.shown.clear();
        offline.form->openPage(2, "example.org", true);
        QCOMPARE(offline.messageBox.shown.size(), size_t(1));
    }

    // Catches --help, --version or a refusal that needs a display, or the wrong exit status.
    void program_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("output");
        QTest::newRow("--help") << "--help" << 0 << "Usage: pathlark";
        QTest::newRow("--version") << "--version" << 0 << "pathlark " PATHLARK_VERSION;
        QTest::newRow("bad option") << "--bogus" << 2 << "pathlark: unknown option";
    }
    void program()
    {
        QFETCH(QString, argument);
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "no-such-platform");   // nothing to show on
        p.setProcessEnvironment(env);
        p.start(PATHLARK_BIN_DIR "/pathlark", {argument});
        QVERIFY(p.waitForFinished(10000));
        QTEST(p.exitCode(), "status");
        QFETCH(QString, output);
        QVERIFY(QString::fromUtf8(p.readAllStandardOutput() + p.readAllStandardError()).startsWith(output));
    }
};

QTEST_MAIN(TestDesktop)
#include "tst_desktop.moc"
