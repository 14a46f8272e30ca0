// Whois answers of awkward sizes and shapes, queried from the real window: the time from the
// server's end to the answer painted in the result box, the peak memory above idle, the longest
// gap of a 5 ms timer on the UI thread, and the memory left once the next query empties the box.
//   whois_bench               the window; it starts its server as a child (this binary, "serve"),
//                             on WHOIS_BENCH_SERVER (127.0.0.1) in WHOIS_BENCH_SERVER_NS if set
//   whois_bench serve ADDR    answers on ADDR by the query: the answer's kind
// Beside each answer, the Debian whois client asks the same server the same query.
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
#include <climits>
#include <csignal>
#include <cstdlib>
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
int serve(const char* bindTo)
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    if (inet_pton(AF_INET, bindTo, &address.sin_addr) != 1)
        return 1;
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

    // In the namespace WHOIS_BENCH_SERVER_NS when set, else here; on `address`.
    bool start(const char* self, const char* address)
    {
        int pipeFds[2];
        if (pipe(pipeFds) != 0)
            return false;
        pid = fork();
        if (pid == 0) {
            dup2(pipeFds[1], STDOUT_FILENO);
            close(pipeFds[0]);
            if (const char* ns = std::getenv("WHOIS_BENCH_SERVER_NS"))
                execl("/usr/bin/ip", "ip", "netns", "exec", ns, self, "serve", address, nullptr);
            else
                execl(self, self, "serve", address, nullptr);
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
        Clock::time_point clicked;
        Clock::time_point painted;
        double longestGapMs;
    };
    // Types the kind into the domain box and presses Do Query; returns once the answer is painted.
    Query query(const char* kind, const QString& server, int port)
    {
        m_form.findChild<QLineEdit*>(QStringLiteral("Text1"))->setText(QString::fromLatin1(kind));
        m_form.findChild<QLineEdit*>(QStringLiteral("Text2"))->setText(server);
        m_form.findChild<QLineEdit*>(QStringLiteral("Text3"))->setText(QString::number(port));
        m_lastTick = Clock::now();
        m_longestGap = {};
        const auto clicked = Clock::now();
        m_form.findChild<QPushButton*>(QStringLiteral("Command1"))->click();
        Query q{statusKb("VmRSS:"), clicked, {}, 0};
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

// The Debian whois client asked the same, its output read whole: start to exit, in ms; -1 without it.
double clientMs(const char* kind, const char* server, int port)
{
    static const bool present = access("/usr/bin/whois", X_OK) == 0;
    if (!present)
        return -1;
    const auto start = Clock::now();
    const std::string command = std::string("/usr/bin/whois -h ") + server + " -p " + std::to_string(port) + ' ' + kind;
    FILE* out = popen(command.c_str(), "r");
    char buffer[1 << 16];
    while (out && std::fread(buffer, 1, sizeof buffer, out) > 0) {
    }
    if (out)
        pclose(out);
    return ms(Clock::now() - start);
}

const char* verdict(bool met)
{
    return met ? "met" : "MISSED";
}

int measure(const char* self)
{
    const char* address = std::getenv("WHOIS_BENCH_SERVER") ? std::getenv("WHOIS_BENCH_SERVER") : "127.0.0.1";
    const QString serverName = QString::fromLatin1(address);
    Server server;
    if (!server.start(self, address)) {
        std::fprintf(stderr, "whois bench: the server did not start\n");
        return 1;
    }
    Window window;
    window.query("warm-up", serverName, server.port);
    server.lastEnd();
    std::printf("Server %s. Each answer 3 times in a row; click->paint: the click to the answer painted, median,\n"
                "beside the Debian whois client's start to exit (its output read whole), median, and their ratio;\n"
                "end->paint: the server's close (the window's cut for the endless stream) to the answer painted,\n"
                "median and max; peak: above the idle window; max gap: the longest stall of the UI thread; left:\n"
                "memory above idle once the next query has emptied the box. Targets: click->paint <= 1.0x the\n"
                "client, peak <= 6x the answer, gap < 150 ms.\n", address);
    std::printf("%-24s %11s %9s %6s %10s %10s %8s %6s %9s   %-22s %s\n", "answer", "click->paint", "whois", "ratio",
                "end->paint", "max", "peak", "x size", "max gap", "left (MB)", "peak, gap");
    for (const Kind& kind : kKinds) {
        const qint64 idleKb = statusKb("VmRSS:");
        std::vector<double> times, gaps, peaks, clicks, client;
        std::vector<qint64> leftKb;
        for (int i = 0; i < 3; ++i) {
            // Count the peak afresh from here.
            std::ofstream("/proc/self/clear_refs") << "5";
            const Window::Query q = window.query(kind.query, serverName, server.port);
            peaks.push_back((statusKb("VmHWM:") - idleKb) / 1024.0);
            times.push_back(ms(q.painted - server.lastEnd()));
            clicks.push_back(ms(q.painted - q.clicked));
            if (std::strcmp(kind.query, "endless") != 0) {   // the client would read all 40 rounds
                client.push_back(clientMs(kind.query, address, server.port));
                server.lastEnd();
            }
            gaps.push_back(q.longestGapMs);
            if (i > 0)
                leftKb.push_back(q.rssAfterClickKb - idleKb);
            if (window.shownCharacters() < kind.bytes / 2) {
                std::fprintf(stderr, "whois bench: %s not shown (%lld characters)\n", kind.label,
                             static_cast<long long>(window.shownCharacters()));
                return 1;
            }
        }
        leftKb.push_back(window.query("none", serverName, server.port).rssAfterClickKb - idleKb);
        server.lastEnd();
        std::sort(times.begin(), times.end());
        std::sort(clicks.begin(), clicks.end());
        std::sort(client.begin(), client.end());
        const double clientMedian = client.empty() ? -1 : client[client.size() / 2];
        const double peak = *std::max_element(peaks.begin(), peaks.end());
        const double ratio = peak / (double(kind.bytes) / kMiB);
        const double gap = *std::max_element(gaps.begin(), gaps.end());
        std::printf("%-24s %8.1f ms %6.1f ms %5.2fx %7.1f ms %7.1f ms %5.1f MB %5.1fx %6.1f ms   %+5.1f %+5.1f %+5.1f      %s, %s\n",
                    kind.label, clicks[1], clientMedian, clientMedian > 0 ? clicks[1] / clientMedian : 0.0, times[1], times[2], peak, ratio, gap, leftKb[0] / 1024.0, leftKb[1] / 1024.0, leftKb[2] / 1024.0,
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
    if (argc > 2 && std::strcmp(argv[1], "serve") == 0)
        return serve(argv[2]);
    mapLargeBuffersApart();   // as the program's main does
    QApplication app(argc, argv);
    char self[4096] = {};   // the binary's own path, also for `ip netns exec`, where /proc/self is ip
    return realpath("/proc/self/exe", self) ? measure(self) : 1;
}
