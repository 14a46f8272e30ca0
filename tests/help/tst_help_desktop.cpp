// The help on a real Linux desktop: the pages and Pathlark.chm the build puts beside the
// program, desktop files read into command lines, and F1 through xdg-mime and xdg-open with
// stand-in viewers and browsers that record how they were started.
#include "XdgSandbox.h"
#include "platform/DesktopEntry.h"

#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QTabWidget>
#include <QtTest>

class TestHelpDesktop : public QObject {
    Q_OBJECT
private slots:
    // Catches: pages missing or stale beside the build tree's program; a compiled help file
    // without the main page as its default topic, or whose pages differ from the ones in
    // help/ (read back with libchm); a page that fetches from the network or links to a page
    // that is not there, so help breaks exactly when the connection does.
    void helpFiles()
    {
        const auto readAll = [](const QString& path) { QFile f(path); return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray(); };
        QTemporaryDir chm;
        QProcess extract;
        extract.start("extract_chmLib", {PATHLARK_BIN_DIR "/Pathlark.chm", chm.path()});
        QVERIFY2(extract.waitForFinished(30000) && extract.exitCode() == 0, "extract_chmLib (package libchm-bin) failed");
        // #SYSTEM record 2 (16-bit code, 16-bit length, text) is the default topic.
        QVERIFY(readAll(chm.filePath("#SYSTEM")).contains(QByteArray("\x02\x00\x11\x00mainpathlark.htm\x00", 21)));
        const QRegularExpression reference("(?:href|src)\\s*=\\s*\"([^\"]*)\"|url\\(|@import");
        for (const QString page : {"mainpathlark.htm", "ping.htm", "trace.htm", "dns.htm", "whois.htm", "pathlark.css"}) {
            const QByteArray text = readAll(PATHLARK_HELP_SOURCE_DIR "/" + page);
            QVERIFY2(!text.isEmpty() && readAll(PATHLARK_BIN_DIR "/help/" + page) == text && readAll(chm.filePath(page)) == text,
                     qPrintable(page));
            for (const QRegularExpressionMatch& m : reference.globalMatch(QString::fromUtf8(text)))
                QVERIFY2(!m.captured(1).isEmpty() && !m.captured(1).contains(u':')
                             && QFile::exists(PATHLARK_HELP_SOURCE_DIR "/" + m.captured(1)),
                         qPrintable(page + ": " + m.captured(0)));
        }
    }

    void desktopEntry_data()
    {
        QTest::addColumn<QString>("exec");
        QTest::addColumn<QStringList>("args");   // empty: refused
        QTest::newRow("blanks, quoted blank") << " \"/opt/My Viewer/v\" \t %U " << QStringList{"/opt/My Viewer/v", "-p", "f.chm"};
        // A literal backslash in a quoted argument is written four times in the file.
        QTest::newRow("quoted escapes") << "sh -c \"echo \\\"\\$HOME\\\" \\`x\\` \\\\\\\\\""
                                        << QStringList{"sh", "-c", "echo \"$HOME\" `x` \\", "-p", "f.chm"};
        QTest::newRow("empty argument, quote in a word, \\s") << "v \"\" --t=\"A B\"\\s100%"
                                                             << QStringList{"v", "", "--t=A B", "100%", "-p", "f.chm"};
        QTest::newRow("field codes") << "v %i %c %k %%d %d %D %n %m %v --file=%f %F"
                                     << QStringList{"v", "--icon", "xchm", "xCHM", "/a.desktop", "%d", "--file=f.chm"};
        QTest::newRow("empty program") << "\"\" %f" << QStringList();
    }
    // Catches: arguments split inside quotes, escapes left in or lost (a viewer in a folder
    // with blanks, an argument with $), a broken Exec value turned into a command anyway,
    // field codes passed on as they stand, the file placed wrong, twice or not at all, or
    // keys read from another group or with other systems' line ends.
    void desktopEntry()
    {
        QFETCH(QString, exec);
        QFETCH(QStringList, args);
        const auto entry = parseDesktopEntry("[Desktop Entry]\r\nName=xCHM\r\nIcon = xchm\r\nExec=" + exec.toUtf8()
                                             + "\r\nExec=second\n[Desktop Action new]\nExec=wrong %f\n");
        QVERIFY(entry);
        const auto split = splitExecLine(entry->exec);
        QCOMPARE(split ? expandFieldCodes(*split, {"-p", "f.chm"}, *entry, "/a.desktop") : QStringList(), args);
    }

    void f1_data()
    {
        QTest::addColumn<QString>("type");   // what the application is registered for
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("exec");
        QTest::addColumn<int>("page");       // -1: before any switch
        QTest::addColumn<QString>("removed");   // removed from the program folder first; "browser": a browser registered too
        QTest::addColumn<QString>("want");   // its arguments (%1: the help file, %2: the program folder), or the messages
        const QString chm = "application/vnd.ms-htmlhelp", html = "text/html";
        const QString noBrowser = "Help for Pathlark (48): This help file requires an Internet browser in order to be displayed.\n";
        QTest::newRow("xchm, a topic") << chm << "xchm" << "%1 %f" << 0 << "" << "file:%1#xchm:/ping.htm";
        QTest::newRow("xchm, default topic") << chm << "xchm" << "%1 %f" << -1 << "" << "%1";
        QTest::newRow("kchmviewer, older type") << "application/x-chm" << "kchmviewer" << "%1 %U" << 2 << "" << "-showPage /dns.htm %1";
        QTest::newRow("viewer, no file code") << chm << "reader" << "%1 --plain" << -1 << "" << "--plain %1";
        // A viewer that cannot be sent to a topic: the topic's own page, in the browser.
        QTest::newRow("viewer without topics, a page") << chm << "reader" << "%1 %f" << 1 << "browser" << "%2/help/trace.htm";
        QTest::newRow("viewer cannot start") << chm << "broken/xchm" << "%1 %f" << 3 << "" << "Pathlark (48): Could not locate Help Page: whois.htm\n";
        QTest::newRow("help file missing") << chm << "xchm" << "%1 %f" << 0 << "/Pathlark.chm" << "Pathlark (48): Help File does not exist.\n";
        QTest::newRow("open quote in Exec") << chm << "xchm" << "%1 \"%f" << -1 << "" << "Pathlark (48): Could not locate HTML Help Home.\n";
        QTest::newRow("browser") << html << "browser" << "%1 %u" << 1 << "" << "%2/help/trace.htm";
        QTest::newRow("no browser") << "" << "browser" << "%1 %u" << 1 << "" << noBrowser;
        QTest::newRow("page missing") << html << "browser" << "%1 %u" << 1 << "/help/trace.htm" << noBrowser;
        QTest::newRow("help folder missing") << html << "browser" << "%1 %u" << 1 << "/help" << noBrowser;
    }
    // Catches: the viewer or browser not found through the desktop's associations, the file or
    // topic in a form the viewer does not read, a path broken up or expanded by a shell on the
    // way, help taken for shown when nothing started or there was no file, a message with
    // another text, title or icon, and F1 left broken after a failure.
    void f1()
    {
        QFETCH(QString, type);
        QFETCH(QString, name);
        QFETCH(QString, exec);
        QFETCH(int, page);
        QFETCH(QString, removed);
        QFETCH(QString, want);
        XdgSandbox desk;
        const QString chm = desk.folder + "/Pathlark.chm";
        const auto pressF1 = [&](int page) {
            if (page >= 0)
                desk.h.form->SSTab1->setCurrentIndex(page == 0 ? 1 : 0), desk.h.form->SSTab1->setCurrentIndex(page);
            QTest::keyClick(desk.h.form->cmdPing, Qt::Key_F1);
            QString shown;
            for (const auto& message : desk.h.messageBox.shown)
                shown += QString("%1 (%2): %3\n").arg(message.title).arg(message.flags).arg(message.prompt);
            return shown;
        };
        desk.registerApplication(type, "pl-app.desktop", name, exec);
        if (removed == QLatin1String("browser")) {   // a browser as well: only the topic's page goes there
            desk.registerApplication("text/html", "pl-browser.desktop", "browser", "%1 %u");
            name = "browser";
            removed.clear();
        }
        QVERIFY(removed.isEmpty() || QFile::remove(desk.folder + removed) || QDir(desk.folder + removed).removeRecursively());
        const QString shown = pressF1(page);
        QCOMPARE(want.endsWith('\n') ? shown : desk.recorded(name).join(' '), want.replace("%1", chm).replace("%2", desk.folder));

        desk.writeHelp();
        desk.registerApplication("application/vnd.ms-htmlhelp", "pl-ok.desktop", "kchmviewer", "%1 %f");
        QCOMPARE(pressF1(3), shown);
        QCOMPARE(desk.recorded("kchmviewer"), (QStringList{"-showPage", "/whois.htm", chm}));
        QVERIFY(!QFile::exists("pwned"));
    }
};

QTEST_MAIN(TestHelpDesktop)
#include "tst_help_desktop.moc"
