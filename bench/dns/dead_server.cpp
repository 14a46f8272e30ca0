// dns_bench dead (lab `mute`): a DNS Lookup of a name whose name server never answers, from the
// click to the error line, beside the resolver's own limit on the same name in the same run:
// gethostbyname_r alone, `getent hosts`, and `dig` asking the same server as often and as long.
#include "DnsBench.h"
#include "app/MultiLineTextBox.h"

#include <QApplication>
#include <QEventLoop>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTimer>

using namespace bench;

int deadServerLookup()
{
    // The lab's resolv.conf: its one name server, and how long and how often the resolver asks it.
    QFile file(QStringLiteral("/etc/resolv.conf"));
    const QString conf = file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.readAll()) : QString();
    const auto option = [&conf](const char* pattern, const char* fallback) {
        const QRegularExpressionMatch m = QRegularExpression(QLatin1String(pattern)).match(conf);
        return (m.hasMatch() ? m.captured(1) : QLatin1String(fallback)).toLatin1();
    };
    const QByteArray server = "@" + option("nameserver\\s+(\\S+)", "127.0.0.1");
    const QByteArray time = "+time=" + option("timeout:(\\d+)", "5"), tries = "+tries=" + option("attempts:(\\d+)", "2");
    std::printf("Lookup of a name whose server never answers (%s, %s %s):\n", server.constData(), time.constData(),
                tries.constData());

    Window w;
    w.tabs()->setCurrentIndex(2);
    auto* box = w.control<MultiLineTextBox>("HostResponse");
    w.pressOkOnMessages();   // a user who reads the message about the name presses OK

    std::vector<double> clicks, raw, getent, dig;
    for (int i = 0; i < 3; ++i) {
        const QByteArray name = "silent" + QByteArray::number(i) + ".test";
        QEventLoop loop;
        QObject::connect(box, &MultiLineTextBox::shown, &loop, [&] {
            if (box->text().contains(QLatin1String("error")))
                loop.quit();
        });
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        w.control<QLineEdit>("DNSHost")->setText(QString::fromLatin1(name));
        const auto start = Clock::now();
        w.control<QPushButton>("DoLookup")->click();
        loop.exec();
        if (!box->text().contains(QLatin1String("error"))) {
            std::printf("no error line for %s within 60 s: %s\n", name.constData(), qPrintable(box->text()));
            return 1;
        }
        clicks.push_back(msBetween(start, Clock::now()));
        raw.push_back(gethostbynameOnce(name));
        getent.push_back(getentOnce(name));
        dig.push_back(commandOnce({"dig", server.constData(), time.constData(), tries.constData(), name.constData()}));
    }
    report("click -> error line", clicks);
    report("gethostbyname_r alone", raw);
    report("getent hosts", getent);
    report("dig (same server)", dig);
    const double over = quantile(clicks, 0.5) - quantile(raw, 0.5);
    std::printf("  median over the resolver's own limit (click - gethostbyname_r): %+.0f ms; target: at most +500 ms: %s\n",
                over, over <= 500 ? "met" : "MISSED");
    return 0;
}
