// A referral chain (root -> registry -> registrar, three servers in the lab) asked from the real
// window: the time from the click on Do Query to the whole chain shown, beside the Debian whois
// client following the same chain in the same run, and the window's longest stall meanwhile.
//   whois_chain_bench ROOT_ADDRESS MARK [RUNS]
// MARK is a text only the registrar's answer holds: the chain is whole once it is shown.
#include "UiGapMeter.h"
#include "app/Form1.h"
#include "app/MultiLineTextBox.h"
#include "app/RealPlatform.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QTabWidget>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

struct Figures {
    std::vector<double> ms;
    QString summary() const
    {
        std::vector<double> sorted = ms;
        std::ranges::sort(sorted);
        return sorted.empty() ? QStringLiteral("none")
                              : QStringLiteral("median %1 ms (min %2, max %3, %4 runs)")
                                    .arg(sorted[sorted.size() / 2], 0, 'f', 1).arg(sorted.front(), 0, 'f', 1)
                                    .arg(sorted.back(), 0, 'f', 1).arg(sorted.size());
    }
};

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: whois_chain_bench ROOT_ADDRESS MARK [RUNS]\n");
        return 2;
    }
    const QString root = QString::fromLocal8Bit(argv[1]), mark = QString::fromLocal8Bit(argv[2]);
    const int runs = argc > 3 ? std::max(1, std::atoi(argv[3])) : 10;

    RealPlatform platform;
    Form1 form(platform.platform());
    form.Form_Load();
    form.show();
    form.findChild<QTabWidget*>(QStringLiteral("SSTab1"))->setCurrentIndex(3);
    auto* box = form.findChild<MultiLineTextBox*>(QStringLiteral("HostResponse"));
    auto* button = form.findChild<QPushButton*>(QStringLiteral("Command1"));
    form.findChild<QLineEdit*>(QStringLiteral("Text1"))->setText(QStringLiteral("example.test"));
    form.findChild<QLineEdit*>(QStringLiteral("Text2"))->setText(root);
    form.findChild<QLineEdit*>(QStringLiteral("Text3"))->setText(QStringLiteral("43"));
    UiGapMeter gaps;

    Figures window, client;
    double stall = 0;
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer clock;
        gaps.start();
        clock.start();
        button->click();
        while (!(button->isEnabled() && box->isShown() && box->text().contains(mark)) && clock.elapsed() < 10000)
            app.processEvents(QEventLoop::WaitForMoreEvents);   // the 5 ms ticker wakes it at least
        if (!box->text().contains(mark)) {
            std::fprintf(stderr, "the window did not show the whole chain:\n%s\n", qPrintable(box->text()));
            return 1;
        }
        window.ms.push_back(clock.nsecsElapsed() / 1e6);
        stall = std::max(stall, gaps.takeLongestMs());   // the client's run below blocks this thread: not counted

        QProcess whois;
        clock.start();
        whois.start(QStringLiteral("whois"), {QStringLiteral("-h"), root, QStringLiteral("-p"), QStringLiteral("43"), QStringLiteral("example.test")});
        const bool done = whois.waitForFinished(10000);
        const double ms = clock.nsecsElapsed() / 1e6;
        if (!done || !whois.readAllStandardOutput().contains(mark.toUtf8())) {
            std::fprintf(stderr, "the whois client did not follow the whole chain\n");
            return 1;
        }
        client.ms.push_back(ms);
    }
    std::printf("click to whole chain shown (window): %s\n", qPrintable(window.summary()));
    std::printf("whois -h %s -p 43 (Debian client):   %s\n", qPrintable(root), qPrintable(client.summary()));
    std::printf("the window's longest stall during the chains: %.1f ms\n", stall);
    return 0;
}
