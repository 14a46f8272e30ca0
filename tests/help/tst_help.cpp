// F1 and the help: the dispatch and the help wrapper on fakes; then on a real desktop, F1 through
// xdg-mime and xdg-open with stand-in viewers that record how they were started.
#include "FormHarness.h"
#include "platform/DesktopEntry.h"

#include <QKeyEvent>
#include <QtTest>

namespace {

// The main window on the real desktop adapters, in a desktop of the test's own: xdg-mime and
// xdg-open see only the applications registered here. A shell that got hold of the program
// folder's name would expand $HOME, run `id` and create "pwned".
struct XdgSandbox {
    QTemporaryDir root;
    const QString folder = root.filePath("Pro gram 'q' \"dq\" $HOME `id` $(touch pwned) ünïcødé");
    const QProcessEnvironment env = [this] {
        QProcessEnvironment env;
        // xdg-open asks the file-type associations only on a graphical desktop.
        for (const auto& [var, value] : {std::pair<QString, QString>("PATH", qEnvironmentVariable("PATH")), {"LC_ALL", "C.UTF-8"},
                                         {"XDG_CURRENT_DESKTOP", "X-Generic"}, {"DISPLAY", ":pathlark-test"}})
            env.insert(var, value);
        for (const char* var : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_DATA_DIRS", "XDG_CONFIG_DIRS"})
            env.insert(var, root.filePath(var));
        return env;
    }();
    XdgShell shell{XdgDesktop(env)};
    XdgHelpViewer viewer{XdgDesktop(env)};
    QMap<QString, QString> associations;   // type -> desktop file id
    FormHarness h{{.adjust = [this](Platform& p) { p.shell = &shell, p.helpViewer = &viewer; }}};

    XdgSandbox()
    {
        for (const char* sub : {"bin", "out", "XDG_DATA_HOME/applications", "XDG_CONFIG_HOME", "XDG_DATA_DIRS", "HOME"})
            QDir().mkpath(root.filePath(sub));
        // The file-type database, without the machine's registered applications.
        QFile::link("/usr/share/mime", root.filePath("XDG_DATA_DIRS/mime"));
        writeHelp();
        h.form->setProgramFolder(folder);
        h.form->show();
    }
    static void write(const QString& path, const QByteArray& text) { QFile file(path); file.open(QIODevice::WriteOnly) && file.write(text); }
    // The program folder's compiled help file and pages.
    void writeHelp() const
    {
        QDir().mkpath(folder + "/help");
        write(folder + "/Pathlark.chm", "ITSF");
        for (const char* name : {"mainpathlark", "ping", "trace", "dns", "whois"})
            write(folder + "/help/" + name + ".htm", "<!DOCTYPE html>\n<title>Help</title><p>Help</p>\n");
    }

    // Registers application `id` for `type` (none when empty): a stand-in `name` that records
    // its arguments (or, named "broken/...", cannot start), with the Exec line `exec` where %1
    // stands for the stand-in's path.
    void registerApplication(const QString& type, const QString& id, const QString& name, const QString& exec)
    {
        const QByteArray out = root.filePath("out/" + name).toUtf8();
        const QString bin = root.filePath("bin/" + name);
        QDir().mkpath(QFileInfo(bin).path());
        write(bin, name.startsWith("broken/") ? "#!/nonexistent/interpreter\n"
                                              : "#!/bin/sh\nprintf '%s\\0' \"$@\" > '" + out + ".part' && mv '" + out + ".part' '" + out + "'\n");
        QFile::setPermissions(bin, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        write(root.filePath("XDG_DATA_HOME/applications/" + id), "[Desktop Entry]\nType=Application\nName=x\nExec=" + exec.arg(bin).toUtf8() + "\n");
        associations.insert(type, id);   // one per type, the latest
        QByteArray list = "[Default Applications]\n";
        for (auto it = associations.cbegin(); it != associations.cend(); ++it)
            list += (it.key() + '=' + it.value()).toUtf8() + '\n';
        write(root.filePath("XDG_CONFIG_HOME/mimeapps.list"), list);
    }
    // The arguments stand-in `name` was started with, after a bounded wait; empty: not started.
    QStringList recorded(const QString& name) const
    {
        QFile file(root.filePath("out/" + name));
        Q_UNUSED(QTest::qWaitFor([&] { return file.exists(); }, 15000));
        QStringList args = file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).split(QChar(0)) : QStringList();
        file.remove();
        return args.mid(0, args.size() - 1);
    }
};

} // namespace

class TestHelp : public QObject {
    Q_OBJECT
    std::unique_ptr<FormHarness> m_h;
    QTemporaryDir m_dir;   // the program folder
    const QString m_chm = m_dir.filePath("Pathlark.chm");

    void pressF1(Qt::KeyboardModifiers modifiers = {}) { QTest::keyClick(m_h->button("cmdPing"), Qt::Key_F1, modifiers); }

private slots:
    void init()
    {
        m_h = std::make_unique<FormHarness>();
        m_h->form->setProgramFolder(m_dir.path());
        QVERIFY(QFile(m_chm).open(QIODevice::WriteOnly));
    }

    // Catches: a wrong row of the dispatch table, captions matched loosely, the Ping page's
    // help before any switch, F1 ignored with a modifier held or acted on when pressed, held
    // or another key, the presence test cached, both viewer and browser used, a wrong owner,
    // a shell status of 33 taken for a failure.
    void dispatch()
    {
        // Page (-1: no switch), a caption the Traceroute tab is renamed to first, modifiers, topic.
        const std::tuple<int, QString, Qt::KeyboardModifiers, QString> cases[] = {
            {-1, {}, {}, ""}, {0, {}, Qt::ShiftModifier, "ping"}, {1, {}, Qt::ControlModifier, "trace"},
            {2, {}, Qt::AltModifier, "dns"}, {3, {}, Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier, "whois"},
            {-1, "DNS lookup", {}, ""}, {-1, "Pinger", {}, ""}};
        for (const auto& [page, caption, modifiers, topic] : cases) {
            init();
            if (!caption.isNull())
                m_h->tabs()->setTabText(1, caption), m_h->openTab(1);
            else if (page >= 0)   // a switch is recorded only when the page changes
                m_h->openTab(page == 0 ? 1 : 0), m_h->openTab(page);
            for (Qt::Key key : {Qt::Key_F2, Qt::Key_F12, Qt::Key_A, Qt::Key_Escape, Qt::Key_Help})
                QTest::keyClick(m_h->edit("txtRemote"), key);
            QTest::keyPress(m_h->edit("txtRemote"), Qt::Key_F1);
            QKeyEvent repeat(QEvent::KeyRelease, Qt::Key_F1, Qt::NoModifier, QString(), true);
            QCoreApplication::sendEvent(m_h->edit("txtRemote"), &repeat);
            m_h->shell.status = Shell::kHighestFailure + 1;
            pressF1(modifiers);
            QCOMPARE(m_h->shell.opened, QStringList{m_dir.path() + "/help/" + (topic.isEmpty() ? "mainpathlark" : topic) + ".htm"});
            m_h->helpViewer.installed = true;
            pressF1(modifiers);
            QCOMPARE(m_h->helpViewer.calls, QStringList{QString::number(m_h->form->winId()) + ' ' + m_chm + " 0 "
                                                        + (topic.isEmpty() ? "" : topic + ".htm")});
            QCOMPARE(m_h->shell.opened.size() + m_h->messageBox.shown.size(), size_t(1));
        }
    }

    // Catches an F1 released while an earlier one still waits on the desktop opening help twice,
    // help shown for a window closed or destroyed meanwhile, a shell status of 32 taken for success.
    void slowDesktop()
    {
        for (const QString meanwhile : {"F1", "close", "destroy"}) {
            init();
            m_h->helpViewer.presenceMs = 100, m_h->shell.status = Shell::kHighestFailure;
            m_h->form->show();
            QTimer::singleShot(20, this, [&] { meanwhile == "F1" ? pressF1() : meanwhile == "close" ? void(m_h->form->close()) : m_h->form.reset(); });
            pressF1();
            QCOMPARE(m_h->shell.opened.size() + m_h->helpViewer.calls.size() + m_h->messageBox.shown.size(), meanwhile == "F1" ? 2u : 0u);
        }
    }

    // Catches a folder, a missing file or a device taken for the help file (or the name set before
    // lost), a caller not set or closed since passing for success.
    void helpObject()
    {
        FakeHelpViewer viewer;
        cHtmlHelp help(&viewer);
        const auto error = [](const std::function<void()>& call) {
            try { return call(), QString(); }
            catch (const HtmlHelpError& e) { return QString::number(e.number()) + ' ' + e.source() + ": " + e.description(); }
        };
        help.htmlHelpFileName(m_chm);
        for (const QString& path : {m_dir.path(), m_dir.filePath("missing.chm"), m_chm + '/', QString(), QString("/dev/null")})
            QCOMPARE(error([&] { help.htmlHelpFileName(path); }) + ' ' + help.htmlHelpFileName(),
                     "41000 cHtmlHelp: Help File does not exist. " + m_chm);
        QCOMPARE(error([&] { help.htmlHelpCaller(nullptr); }), "41001 cHtmlHelp: Could not set reference to Caller Form.");
        auto window = std::make_unique<QWindow>();
        help.htmlHelpCaller(window.get());
        window.reset();
        QCOMPARE(error([&] { help.htmlHelpHome(); }), "41002 cHtmlHelp: Could not locate HTML Help Home.");
        QVERIFY(viewer.calls.isEmpty());
    }

    // Catches: arguments split inside quotes, escapes left in or lost (a viewer in a folder
    // with blanks, an argument with $), a broken Exec value turned into a command anyway,
    // field codes passed on as they stand, the file placed wrong, twice or not at all, or
    // keys read from another group or with other systems' line ends.
    void desktopEntry()
    {
        const std::pair<QString, QStringList> cases[] = {   // the Exec value, its arguments (none: refused)
            {" \"/opt/My Viewer/v\" \t %U ", {"/opt/My Viewer/v", "-p", "f.chm"}},
            // A literal backslash in a quoted argument is written four times in the file.
            {"sh -c \"echo \\\"\\$HOME\\\" \\`x\\` \\\\\\\\\"", {"sh", "-c", "echo \"$HOME\" `x` \\", "-p", "f.chm"}},
            {"v \"\" --t=\"A B\"\\s100%", {"v", "", "--t=A B", "100%", "-p", "f.chm"}},
            {"v %i %c %k %%d %d %D %n %m %v --file=%f %F", {"v", "--icon", "xchm", "xCHM", "/a.desktop", "%d", "--file=f.chm"}},
            {"\"\" %f", {}}};
        for (const auto& [exec, args] : cases) {
            const auto entry = parseDesktopEntry("[Desktop Entry]\r\nName=xCHM\r\nIcon = xchm\r\nExec=" + exec.toUtf8()
                                                 + "\r\nExec=second\n[Desktop Action new]\nExec=wrong %f\n");
            const auto split = entry ? splitExecLine(entry->exec) : std::nullopt;
            QCOMPARE(split ? expandFieldCodes(*split, {"-p", "f.chm"}, *entry, "/a.desktop") : QStringList(), args);
        }
    }

    // Catches: the viewer or browser not found through the desktop's associations, the file or
    // topic in a form the viewer does not read, a path broken up or expanded by a shell on the
    // way, help taken for shown when nothing started or there was no file, a message with
    // another text, title or icon, and F1 left broken after a failure.
    // Each case: the type the application is registered for, its name and Exec line, the page
    // (-1: no switch), what is removed from the program folder first ("browser": a browser is
    // registered too), and its arguments (%1: the help file, %2: the program folder) or the messages.
    void f1_data()
    {
        QTest::addColumn<QStringList>("c");
        const QString chm = "application/vnd.ms-htmlhelp", html = "text/html";
        const QString noBrowser = "Help for Pathlark (48): This help file requires an Internet browser in order to be displayed.\n";
        const QList<QStringList> cases = {
            {chm, "xchm", "%1 %f", "0", "", "file:%1#xchm:/ping.htm"}, {chm, "xchm", "%1 %f", "-1", "", "%1"},
            {"application/x-chm", "kchmviewer", "%1 %U", "2", "", "-showPage /dns.htm %1"},
            {chm, "reader", "%1 %f", "1", "browser", "%2/help/trace.htm"},   // a viewer without topics: the page, in the browser
            {chm, "broken/xchm", "%1 %f", "3", "", "Pathlark (48): Could not locate Help Page: whois.htm\n"},
            {chm, "xchm", "%1 %f", "0", "/Pathlark.chm", "Pathlark (48): Help File does not exist.\n"},
            {chm, "xchm", "%1 \"%f", "-1", "", "Pathlark (48): Could not locate HTML Help Home.\n"},
            {html, "browser", "%1 %u", "1", "", "%2/help/trace.htm"}, {"", "browser", "%1 %u", "1", "", noBrowser},
            {html, "browser", "%1 %u", "1", "/help/trace.htm", noBrowser}};
        for (const QStringList& c : cases)
            QTest::addRow("%s %s %s", qPrintable(c[1]), qPrintable(c[3]), qPrintable(c[4])) << c;
    }
    void f1()
    {
        QFETCH(QStringList, c);
        const QString type = c[0], exec = c[2];
        QString name = c[1], removed = c[4], want = c[5];
        const int page = c[3].toInt();
        XdgSandbox desk;
        const QString chm = desk.folder + "/Pathlark.chm";
        const auto pressF1 = [&](int page) {
            page >= 0 ? desk.h.openTab(page == 0 ? 1 : 0), desk.h.openTab(page) : void();
            QTest::keyClick(desk.h.button("cmdPing"), Qt::Key_F1);
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

QTEST_MAIN(TestHelp)
#include "tst_help.moc"
