// F1 on a real desktop (xdg-utils, stand-in viewer and browser in a desktop of its own):
// the longest the window goes without running a 5 ms timer during a press, and how long
// until the viewer or the browser runs. The peer is a bare `xdg-open page` on the same desktop.
#include "XdgSandbox.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

// The largest gap between two ticks of a 5 ms timer: how long the window stopped running.
class StallMeter {
public:
    StallMeter()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            m_worst = std::max(m_worst, m_sinceTick.nsecsElapsed() / 1e6);
            m_sinceTick.restart();
        });
        m_timer.start(5);
    }
    void reset()
    {
        m_sinceTick.restart();
        m_worst = 0;
    }
    double worst() const { return m_worst; }

private:
    QTimer m_timer;
    QElapsedTimer m_sinceTick;
    double m_worst = 0;
};

struct Timing {
    std::vector<double> stall;   // longest gap between timer ticks, ms
    std::vector<double> shown;   // press until the viewer or browser runs, ms
};

double median(std::vector<double> v)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

double maximum(const std::vector<double>& v)
{
    return v.empty() ? 0 : *std::max_element(v.begin(), v.end());
}

void report(const char* what, const Timing& t)
{
    std::printf("%-42s stall median %6.1f ms  max %6.1f ms", what, median(t.stall), maximum(t.stall));
    if (!t.shown.empty())
        std::printf("   shown median %6.1f ms  max %6.1f ms", median(t.shown), maximum(t.shown));
    std::printf("   (n=%zu)\n", t.stall.size());
}

// Runs the event loop for `ms`, as the program's own loop would (QTest::qWait sleeps between
// rounds of events, which would show up as stalls).
void spin(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// Runs `press` `runs` times; with `recorder`, also waits for it to record its start.
Timing measure(int runs, StallMeter& meter, XdgSandbox& desktop, const QString& recorder,
               const std::function<void()>& press)
{
    Timing t;
    for (int i = 0; i < runs; ++i) {
        spin(20);
        meter.reset();
        QElapsedTimer clock;
        clock.start();
        press();
        if (!recorder.isEmpty()) {
            const QString record = desktop.root.filePath("out/" + recorder);
            while (!QFile::exists(record) && clock.elapsed() < 15000)
                spin(2);
            t.shown.push_back(clock.nsecsElapsed() / 1e6);
            if (desktop.recorded(recorder).isEmpty()) {
                std::fprintf(stderr, "%s did not start\n", qPrintable(recorder));
                std::exit(1);
            }
        }
        spin(10);   // lets the tick after the press arrive
        t.stall.push_back(meter.worst());
    }
    return t;
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 10;

    XdgSandbox desktop;
    FormHarness& h = desktop.h;
    h.form->SSTab1->setCurrentIndex(1);
    h.form->show();
    const auto pressF1 = [&] { QTest::keyClick(h.form->cmdPing, Qt::Key_F1); };
    StallMeter meter;

    report("baseline: the timer alone, no press", measure(runs, meter, desktop, {}, [] {}));
    desktop.registerApplication("application/vnd.ms-htmlhelp", "pl-viewer.desktop", "xchm", "%1 %f");
    report("F1 -> compiled-help viewer", measure(runs, meter, desktop, QStringLiteral("xchm"), pressF1));

    desktop.registerApplication("text/html", "pl-browser.desktop", "browser", "%1 %u");
    report("F1 -> browser (xdg-open)", measure(runs, meter, desktop, QStringLiteral("browser"), pressF1));
    const XdgDesktop peer(desktop.env);
    report("peer: xdg-open page from the command line", measure(runs, meter, desktop, QStringLiteral("browser"), [&] {
               peer.startDetached(QStringLiteral("xdg-open"), {desktop.folder + "/help/trace.htm"});
           }));

    desktop.registerApplication("", "pl-browser.desktop", "browser", "%1 %u");
    const size_t before = h.messageBox.shown.size();
    report("F1 -> no browser: the message", measure(runs, meter, desktop, {}, pressF1));
    return h.messageBox.shown.size() == before + size_t(runs) ? 0 : 1;
}
