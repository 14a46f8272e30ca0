// F1 on the main window, driven by key releases as a user makes them, and the compiled-help
// wrapper under it, on fakes of the viewer, the shell and the message box.
#include "FormHarness.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QtTest>

class TestF1Help : public QObject {
    Q_OBJECT
    std::unique_ptr<FormHarness> m_h;
    QTemporaryDir m_dir;   // the program folder
    const QString m_chm = m_dir.filePath("Pathlark.chm");

    Form1& form() { return *m_h->form; }
    void pressF1(int modifiers = 0) { QTest::keyClick(form().cmdPing, Qt::Key_F1, Qt::KeyboardModifiers(modifiers)); }
    int helpShown() const { return int(m_h->shell.opened.size() + m_h->helpViewer.calls.size()); }

private slots:
    void init()
    {
        m_h = std::make_unique<FormHarness>();
        QCOMPARE(form().programFolder, QCoreApplication::applicationDirPath());
        form().programFolder = m_dir.path();
        QVERIFY(QFile(m_chm).open(QIODevice::WriteOnly));
    }

    void dispatch_data()
    {
        QTest::addColumn<int>("page");   // -1: no switch, `caption` set when given
        QTest::addColumn<QString>("caption");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<QString>("topic");
        QTest::newRow("before any switch") << -1 << QString() << 0 << "";
        QTest::newRow("Ping, Shift") << 0 << QString() << int(Qt::ShiftModifier) << "ping";
        QTest::newRow("Traceroute, Ctrl") << 1 << QString() << int(Qt::ControlModifier) << "trace";
        QTest::newRow("DNS Lookup, Alt") << 2 << QString() << int(Qt::AltModifier) << "dns";
        QTest::newRow("Whois, all") << 3 << QString() << int(Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier) << "whois";
        QTest::newRow("other case") << -1 << "DNS lookup" << 0 << "";
        QTest::newRow("trailing blank") << -1 << "Whois " << 0 << "";
        QTest::newRow("unknown caption") << -1 << "Pinger" << 0 << "";
    }
    // Catches: a wrong row of the dispatch table, captions matched loosely, the Ping page's
    // help before any switch, F1 ignored with a modifier held or acted on when pressed, held
    // or another key, the presence test cached, both viewer and browser used, a wrong owner,
    // a shell status of 33 taken for a failure.
    void dispatch()
    {
        QFETCH(int, page);
        QFETCH(QString, caption);
        QFETCH(int, modifiers);
        QFETCH(QString, topic);
        if (page >= 0)   // a switch is recorded only when the page changes
            form().SSTab1->setCurrentIndex(page == 0 ? 1 : 0), form().SSTab1->setCurrentIndex(page);
        else if (!caption.isNull())
            form().module.CurrentTab = caption;
        for (Qt::Key key : {Qt::Key_F2, Qt::Key_F12, Qt::Key_A, Qt::Key_Escape, Qt::Key_Help})
            QTest::keyClick(form().txtRemote, key);
        QTest::keyPress(form().txtRemote, Qt::Key_F1);
        QKeyEvent repeat(QEvent::KeyRelease, Qt::Key_F1, Qt::NoModifier, QString(), true);
        QCoreApplication::sendEvent(form().txtRemote, &repeat);
        m_h->shell.status = Shell::kHighestFailure + 1;
        pressF1(modifiers);
        QCOMPARE(m_h->shell.opened, QStringList{m_dir.path() + "/help/" + (topic.isEmpty() ? "mainpathlark" : topic) + ".htm"});
        m_h->helpViewer.installed = true;
        pressF1(modifiers);
        QCOMPARE(m_h->helpViewer.calls,
                 QStringList{QString::number(form().winId()) + ' ' + m_chm + " 0 " + (topic.isEmpty() ? "" : topic + ".htm")});
        QCOMPARE(m_h->shell.opened.size() + m_h->messageBox.shown.size(), size_t(1));
    }

    void slowDesktop_data()
    {
        QTest::addColumn<QString>("meanwhile");
        QTest::newRow("second F1") << "F1";
        QTest::newRow("closed") << "close";
        QTest::newRow("destroyed") << "destroy";
    }
    // Catches: an F1 released while an earlier one still waits on the desktop opening help
    // twice; help or a message shown for a window closed meanwhile; a crash when the window
    // was destroyed meanwhile; a shell status of 32 taken for success.
    void slowDesktop()
    {
        QFETCH(QString, meanwhile);
        m_h->helpViewer.presenceMs = 100;
        m_h->shell.status = Shell::kHighestFailure;
        form().show();
        QTimer::singleShot(20, this,
                           [&] { meanwhile == "F1" ? pressF1() : meanwhile == "close" ? void(form().close()) : m_h->form.reset(); });
        pressF1();
        QCOMPARE(helpShown() + int(m_h->messageBox.shown.size()), meanwhile == "F1" ? 2 : 0);
    }

    // Catches: a folder, a missing file or a device taken for the help file, or a
    // refused name that loses the one set before; an empty caller accepted; a viewer that
    // showed nothing, a caller not yet set or closed since, passing for success; success
    // raising an error; the wrong command for the keyword lookup.
    void helpObject()
    {
        FakeHelpViewer viewer;
        cHtmlHelp help(&viewer);
        const auto errors = [&](const std::function<void()>& call) {
            try {
                call();
            } catch (const HtmlHelpError& error) {
                return QString::number(error.number()) + u' ' + error.source() + ": " + error.description() + '\n';
            }
            return QString();
        };
        help.htmlHelpFileName(m_chm);
        for (const QString& path : {m_dir.path(), m_dir.filePath("missing.chm"), m_chm + '/', QString(), QString("/dev/null")})
            QCOMPARE(errors([&] { help.htmlHelpFileName(path); }) + help.htmlHelpFileName(),
                     "41000 cHtmlHelp: Help File does not exist.\n" + m_chm);

        QString raised = errors([&] { help.htmlHelpTopic("ping.htm"); }) + errors([&] { help.htmlHelpCaller(nullptr); });
        auto window = std::make_unique<QWidget>();
        help.htmlHelpCaller(window.get());
        raised += errors([&] { help.htmlHelpSearch(); });
        viewer.handle = 0;
        raised += errors([&] { help.htmlHelpTopic("dns.htm"); });
        raised += errors([&] { help.htmlHelpSearch(); });
        viewer.handle = 7;
        window.reset();
        raised += errors([&] { help.htmlHelpHome(); });
        QCOMPARE(raised, "41003 cHtmlHelp: Could not locate Help Page: ping.htm\n"
                         "41001 cHtmlHelp: Could not set reference to Caller Form.\n"
                         "41003 cHtmlHelp: Could not locate Help Page: dns.htm\n"
                         "41004 cHtmlHelp: Could not initiate Help Index Search.\n"
                         "41002 cHtmlHelp: Could not locate HTML Help Home.\n");
        QCOMPARE(viewer.calls.size(), 3);
        QVERIFY(viewer.calls[0].endsWith(' ' + m_chm + " 13 ") && viewer.calls[1].endsWith(" 0 dns.htm"));
    }
};

QTEST_MAIN(TestF1Help)
#include "tst_f1help.moc"
