// The trailing-slash cut every page applies to its host or domain box.
#include "app/SlashCut.h"

#include <QtTest>

class TestSlashCut : public QObject {
    Q_OBJECT
private slots:
    void cut_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("kept");
        QTest::newRow("last char") << "abc/" << "abc";
        QTest::newRow("second to last") << "ab/c" << "ab";
        QTest::newRow("earlier slash stays") << "a/bc" << "a/bc";
        QTest::newRow("two slashes: the first of the last two wins") << "abc//" << "abc";
        QTest::newRow("url path beyond the last two") << "example.org/index" << "example.org/index";
        QTest::newRow("no slash") << "example.org" << "example.org";
        QTest::newRow("empty") << "" << "";
        QTest::newRow("one char") << "a" << "a";
        QTest::newRow("one slash") << "/" << "/";
        QTest::newRow("just two slashes") << "//" << "";
        QTest::newRow("non-ASCII") << QStringLiteral("münchen.de/") << QStringLiteral("münchen.de");
    }
    void cut()
    {
        QFETCH(QString, typed);
        QFETCH(QString, kept);
        QCOMPARE(trailingSlashCut(typed), kept);
    }
};

QTEST_APPLESS_MAIN(TestSlashCut)
#include "tst_slashcut.moc"
