// Memory of the real program while a screen reader's bus is on: pings to 127.0.0.1, then DNS
// lookups of it, started one after another through the buttons, each once the one before has
// written its first row or line and A11Y_BENCH_DWELL_MS more have passed; resident memory after a
// warm-up and after the rounds.
//   a11y_bench [ROUNDS]      run it with QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 on a real bus (run.sh)
#include "app/Application.h"
#include "app/Form1.h"
#include "app/MultiLineTextBox.h"
#include "app/ResultsTable.h"

#include <QAccessible>
#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>

#include <cstdio>
#include <fstream>
#include <string>

namespace {

double residentMb()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0)
            return std::stod(line.substr(6)) / 1024.0;
    }
    return -1;
}

// Presses `button` and waits, on the event loop, until `done` holds (at most 5 s), then a little
// longer, so a screen reader has time to read what came.
bool pressAndWait(QPushButton* button, const std::function<bool()>& done)
{
    static const int dwellMs = qEnvironmentVariableIntValue("A11Y_BENCH_DWELL_MS");
    button->click();
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < 5000)
        QApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    const qint64 doneAt = clock.elapsed();
    while (clock.elapsed() < doneAt + dwellMs)
        QApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    return done();
}

struct Driver {
    Form1& form;
    int rounds;

    template <typename T>
    T* find(const char* name) const { return form.findChild<T*>(QString::fromLatin1(name)); }

    bool ping()
    {
        auto* table = find<ResultsTable>("ListView1");
        // The click empties the table once the host is checked; a new row then follows.
        table->clear();
        return pressAndWait(find<QPushButton>("cmdPing"), [table] { return table->topLevelItemCount() > 0; });
    }
    bool lookup()
    {
        auto* box = find<MultiLineTextBox>("HostResponse");
        box->setText(QString());
        return pressAndWait(find<QPushButton>("DoLookup"), [box] { return box->text().contains(QLatin1String("Host Name")); });
    }
    // Rounds of `step` on page `page`: resident memory before and after, after a warm-up of 20.
    void measure(const char* what, int page, bool (Driver::*step)())
    {
        find<QTabWidget>("SSTab1")->setCurrentIndex(page);
        int failed = 0;
        for (int i = 0; i < 20; ++i)
            failed += !(this->*step)();
        const double before = residentMb();
        for (int i = 0; i < rounds; ++i)
            failed += !(this->*step)();
        const double after = residentMb();
        std::printf("%-8s %5d rounds: VmRSS %.1f MB -> %.1f MB (%+.1f MB, %+.1f KiB a round)%s\n", what, rounds, before,
                    after, after - before, (after - before) * 1024 / rounds,
                    failed ? qPrintable(QStringLiteral(", %1 did not finish").arg(failed)) : "");
    }
    void run()
    {
        std::printf("accessibility %s\n", QAccessible::isActive() ? "active (a screen reader's bus)" : "off");
        find<QLineEdit>("txtRemote")->setText(QStringLiteral("127.0.0.1"));
        find<QLineEdit>("DNSHost")->setText(QStringLiteral("127.0.0.1"));
        measure("pings", 0, &Driver::ping);
        measure("lookups", 2, &Driver::lookup);
        std::fflush(stdout);
        QApplication::quit();
    }
};

} // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 500;
    return runApplication(1, argv, [rounds](Form1& form) {
        QTimer::singleShot(500, &form, [&form, rounds] { Driver{form, rounds}.run(); });
    });
}
