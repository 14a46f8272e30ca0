// Whois answers of awkward sizes and shapes, queried from the real window: the time from the
// server's end to the answer painted in the result box, the peak memory above idle, the longest
// gap of a 5 ms timer on the UI thread, and the memory left once the next query empties the box.
//   whois_bench          the window; it starts its server as a child (this binary, "serve")
//   whois_bench serve    answers on 127.0.0.1 by the query: the answer's kind
// The server is a process of its own so its buffers do not count in the window's memory.
#include "app/Form1.h"
#include "app/MultiLineTextBox.h"
#include "app/RealPlatform.h"
#include "platform/Memory.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;   // CLOCK_MONOTONIC: the same in both processes
constexpr qsizetype kMiB = 1 << 20;

struct Kind {
    const char* query;
    const char* label;
    qsizetype bytes;   // what the window keeps; the endless stream is cut at 32 MiB
};
const Kind kKinds[] = {
    {"lines5m", "5 MB of whois lines", 5'000'000},
    {"line1m", "1 MiB single line", kMiB},
    {"line2m", "2 MiB single line", 2 * kMiB},
    {"endless", "endless stream (cut)", 32 * kMiB},
    {"lf32m", "32 MiB of line feeds", 32 * kMiB},
    {"lines32m", "32 MiB of 80-byte lines", 32 * kMiB},
};

// ---- the server ----

QByteArray answerFor(const std::string& query)
{
    static const char kLines[] = "Domain Name: EXAMPLE.ORG\nRegistry Domain ID: 2336799_DOMAIN_ORG-VRSN\n"
                                 "Registrar WHOIS Server: whois.example-registrar.org\n"
                                 "Registrant Street: 1 Example Road, M\xc3\xbcnchen\nName Server: A.IANA-SERVERS.NET\n";
    const auto filled = [](qsizetype size, auto&& byteAt) {
        QByteArray out(size, Qt::Uninitialized);
        for (qsizetype i = 0; i < size; ++i)
            out[i] = byteAt(i);
        out.back() = '\n';
        return out;
    };
    if (query == "lines5m" || query == "endless")
        return filled(5'000'000, [](qsizetype i) { return kLines[i % (sizeof kLines - 1)]; });
    if (query == "line1m" || query == "line2m")
        return filled(query == "line1m" ? kMiB : 2 * kMiB, [](qsizetype i) { return char('a' + i % 26); });
    if (query == "lf32m")
        return QByteArray(32 * kMiB, '\n');
    if (query == "lines32m")
        return filled(32 * kMiB, [](qsizetype i) { return i % 80 == 79 ? '\n' : char('A' + i % 80 % 26); });
    return "No match for domain.\n";
}

bool sendAll(int fd, const char* data, qsizetype size)
{
    for (qsizetype at = 0; at < size;) {
        const ssize_t n = send(fd, data + at, size_t(std::min<qsizetype>(size - at, 256 * 1024)), MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        at += n;
    }
    return true;
}

// One connection after another: read the query line, send its answer, close, report the moment.
int serve()
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(listener, 4) != 0
        || getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return 1;
    std::printf("%d\n", ntohs(address.sin_port));
    std::fflush(stdout);
    for (int client; (client = accept(listener, nullptr, nullptr)) >= 0;) {
        std::string query;
        char c;
        while (query.size() < 1024 && read(client, &c, 1) == 1 && c != '\n')
            query += c;
        if (!query.empty() && query.back() == '\r')
            query.pop_back();
        const QByteArray answer = answerFor(query);
        if (query == "endless") {
            // Until the window hangs up; bounded all the same.
            for (int i = 0; i < 40 && sendAll(client, answer.constData(), answer.size()); ++i) {
            }
        } else {
            sendAll(client, answer.constData(), answer.size());
        }
        close(client);
        std::printf("end %lld\n", static_cast<long long>(Clock::now().time_since_epoch().count()));
        std::fflush(stdout);
    }
    return 0;
}

// ---- the window ----

qint64 statusKb(const char* field)
{
    std::ifstream status("/proc/self/status");
    const size_t n = std::strlen(field);
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, n, field) == 0)
            return std::stoll(line.substr(n + 1));
    }
    return -1;
}

struct Server {
    pid_t pid = -1;
    FILE* out = nullptr;
    int port = 0;

    bool start(const char* self)
    {
        int pipeFds[2];
        if (pipe(pipeFds) != 0)
            return false;
        pid = fork();
        if (pid == 0) {
            dup2(pipeFds[1], STDOUT_FILENO);
            close(pipeFds[0]);
            execl(self, self, "serve", nullptr);
            _exit(127);
        }
        close(pipeFds[1]);
        out = fdopen(pipeFds[0], "r");
        return pid > 0 && std::fscanf(out, "%d", &port) == 1;
    }
    // The moment the server ended its last answer.
    Clock::time_point lastEnd()
    {
        long long ns = 0;
        if (std::fscanf(out, " end %lld", &ns) != 1)
            std::abort();
        return Clock::time_point(Clock::duration(ns));
    }
    ~Server()
    {
        if (pid > 0) {
            kill(pid, SIGTERM);
            waitpid(pid, nullptr, 0);
        }
    }
};

class Window {
public:
    Window()
    {
        m_form.Form_Load();
        m_form.show();
        m_form.findChild<QTabWidget*>(QStringLiteral("SSTab1"))->setCurrentIndex(3);
        m_ticker.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_ticker, &QTimer::timeout, [this] {
            const auto now = Clock::now();
            m_longestGap = std::max(m_longestGap, now - m_lastTick);
            m_lastTick = now;
        });
        m_ticker.start(5);
        QObject::connect(m_box, &MultiLineTextBox::shown, [this] {
            if (!m_waiting)
                return;
            m_box->viewport()->repaint();
            m_painted = Clock::now();
            m_waiting = false;
        });
    }

    struct Query {
        qint64 rssAfterClickKb;   // the box emptied of the previous answer
        Clock::time_point painted;
        double longestGapMs;
    };
    // Types the kind into the domain box and presses Do Query; returns once the answer is painted.
    Query query(const char* kind, int port)
    {
        m_form.findChild<QLineEdit*>(QStringLiteral("Text1"))->setText(QString::fromLatin1(kind));
        m_form.findChild<QLineEdit*>(QStringLiteral("Text2"))->setText(QStringLiteral("127.0.0.1"));
        m_form.findChild<QLineEdit*>(QStringLiteral("Text3"))->setText(QString::number(port));
        m_lastTick = Clock::now();
        m_longestGap = {};
        m_form.findChild<QPushButton*>(QStringLiteral("Command1"))->click();
        Query q{statusKb("VmRSS:"), {}, 0};
        m_waiting = true;
        while (m_waiting)
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
        q.painted = m_painted;
        q.longestGapMs = std::chrono::duration<double, std::milli>(m_longestGap).count();
        return q;
    }
    qint64 shownCharacters() const { return m_box->document()->characterCount(); }

private:
    RealPlatform m_platform;
    Form1 m_form{m_platform.platform()};
    MultiLineTextBox* m_box = m_form.findChild<MultiLineTextBox*>(QStringLiteral("HostResponse"));
    QTimer m_ticker;
    Clock::time_point m_lastTick;
    Clock::duration m_longestGap{};
    bool m_waiting = false;
    Clock::time_point m_painted;
};

double ms(Clock::duration d)
{
    return std::chrono::duration<double, std::milli>(d).count();
}

const char* verdict(bool met)
{
    return met ? "met" : "MISSED";
}

int measure(const char* self)
{
    Server server;
    if (!server.start(self)) {
        std::fprintf(stderr, "whois bench: the server did not start\n");
        return 1;
    }
    Window window;
    window.query("warm-up", server.port);
    server.lastEnd();
    std::printf("Each answer 3 times in a row; end->paint: the server's close (the window's cut for the endless\n"
                "stream) to the answer painted, median and max; peak: above the idle window; left: memory above\n"
                "idle once the next query has emptied the box. Targets: peak <= 6x the answer, gap < 150 ms.\n");
    std::printf("%-24s %10s %10s %8s %6s %9s   %-22s %s\n", "answer", "end->paint", "max", "peak", "x size",
                "max gap", "left (MB)", "peak, gap");
    for (const Kind& kind : kKinds) {
        const qint64 idleKb = statusKb("VmRSS:");
        std::vector<double> times, gaps, peaks;
        std::vector<qint64> leftKb;
        for (int i = 0; i < 3; ++i) {
            // Count the peak afresh from here.
            std::ofstream("/proc/self/clear_refs") << "5";
            const Window::Query q = window.query(kind.query, server.port);
            peaks.push_back((statusKb("VmHWM:") - idleKb) / 1024.0);
            times.push_back(ms(q.painted - server.lastEnd()));
            gaps.push_back(q.longestGapMs);
            if (i > 0)
                leftKb.push_back(q.rssAfterClickKb - idleKb);
            if (window.shownCharacters() < kind.bytes / 2) {
                std::fprintf(stderr, "whois bench: %s not shown (%lld characters)\n", kind.label,
                             static_cast<long long>(window.shownCharacters()));
                return 1;
            }
        }
        leftKb.push_back(window.query("none", server.port).rssAfterClickKb - idleKb);
        server.lastEnd();
        std::sort(times.begin(), times.end());
        const double peak = *std::max_element(peaks.begin(), peaks.end());
        const double ratio = peak / (double(kind.bytes) / kMiB);
        const double gap = *std::max_element(gaps.begin(), gaps.end());
        std::printf("%-24s %7.1f ms %7.1f ms %5.1f MB %5.1fx %6.1f ms   %+5.1f %+5.1f %+5.1f      %s, %s\n", kind.label,
                    times[1], times[2], peak, ratio, gap, leftKb[0] / 1024.0, leftKb[1] / 1024.0, leftKb[2] / 1024.0,
                    verdict(ratio <= 6), verdict(gap < 150));
        if (std::strcmp(kind.query, "line1m") == 0)
            std::printf("  shown within 1 s of the close: %s\n", verdict(times[2] <= 1000));
        if (std::strcmp(kind.query, "endless") == 0)
            std::printf("  shown within 3 s of the cut: %s\n", verdict(times[2] <= 3000));
    }
    std::printf("idle window: %.1f MB resident\n", statusKb("VmRSS:") / 1024.0);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && std::strcmp(argv[1], "serve") == 0)
        return serve();
    mapLargeBuffersApart();   // as the program's main does
    QApplication app(argc, argv);
    return measure("/proc/self/exe");
}
