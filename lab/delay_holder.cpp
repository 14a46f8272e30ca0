// delay_holder QUEUE_NUM DELAY_MS: holds every packet of one netfilter queue for a constant time,
// so a namespace router can stand in for a slow link (this kernel has no netem).
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>

#include <arpa/inet.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <linux/netfilter.h>
#include <libnetfilter_queue/libnetfilter_queue.h>

namespace {

volatile sig_atomic_t g_stop = 0;

struct Held {
    uint32_t id;
    int64_t dueNs;
};

struct State {
    int64_t delayNs = 0;
    std::deque<Held> held;
};

int64_t nowNs()
{
    timespec ts {};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return int64_t(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
}

int onPacket(nfq_q_handle*, nfgenmsg*, nfq_data* data, void* opaque)
{
    auto* state = static_cast<State*>(opaque);
    if (const nfqnl_msg_packet_hdr* hdr = nfq_get_msg_packet_hdr(data))
        state->held.push_back({ntohl(hdr->packet_id), nowNs() + state->delayNs});
    return 0;
}

// Ids grow with arrival and the delay is constant, so one batch verdict releases everything due.
bool releaseDue(nfq_q_handle* queue, State& state, int64_t now)
{
    bool any = false;
    uint32_t last = 0;
    while (!state.held.empty() && state.held.front().dueNs <= now) {
        last = state.held.front().id;
        state.held.pop_front();
        any = true;
    }
    if (any && nfq_set_verdict_batch(queue, last, NF_ACCEPT) < 0) {
        std::fprintf(stderr, "delay_holder: verdict failed: %s\n", std::strerror(errno));
        return false;
    }
    return true;
}

bool parseNumber(const char* text, long max, long& out)
{
    char* end = nullptr;
    errno = 0;
    out = std::strtol(text, &end, 10);
    return errno == 0 && end != text && *end == '\0' && out >= 0 && out <= max;
}

} // namespace

int main(int argc, char** argv)
{
    long queueNum = 0, delayMs = 0;
    if (argc != 3 || !parseNumber(argv[1], 65535, queueNum) || !parseNumber(argv[2], 60000, delayMs)) {
        std::fprintf(stderr, "usage: delay_holder QUEUE_NUM DELAY_MS\n");
        return 2;
    }
    State state;
    state.delayNs = int64_t(delayMs) * 1'000'000;

    // Signals arrive only inside ppoll, so the loop never misses a stop request.
    sigset_t stopSignals, waitMask;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    sigprocmask(SIG_BLOCK, &stopSignals, &waitMask);
    struct sigaction sa {};
    sa.sa_handler = [](int) { g_stop = 1; };
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGINT, &sa, nullptr);
    // The default 50 us timer slack would be most of our error budget, and a wire must not wait
    // behind a compiler for a core: a low real-time priority (it sleeps nearly all the time).
    prctl(PR_SET_TIMERSLACK, 1UL, 0, 0, 0);
    const sched_param priority {10};
    if (sched_setscheduler(0, SCHED_FIFO, &priority) < 0)
        std::fprintf(stderr, "delay_holder: no real-time priority (%s), delays may stretch under load\n",
                     std::strerror(errno));

    nfq_handle* handle = nfq_open();
    if (!handle) {
        std::fprintf(stderr, "delay_holder: nfq_open: %s\n", std::strerror(errno));
        return 1;
    }
    // No-ops on kernels since 3.8, where a queue takes every family; older ones need them.
    nfq_bind_pf(handle, AF_INET);
    nfq_bind_pf(handle, AF_INET6);
    nfq_q_handle* queue = nfq_create_queue(handle, uint16_t(queueNum), &onPacket, &state);
    if (!queue) {
        std::fprintf(stderr, "delay_holder: cannot bind queue %ld: %s\n", queueNum, std::strerror(errno));
        nfq_close(handle);
        return 1;
    }
    if (nfq_set_mode(queue, NFQNL_COPY_META, 0) < 0)
        std::fprintf(stderr, "delay_holder: cannot set copy mode: %s\n", std::strerror(errno));
    nfq_set_queue_maxlen(queue, 16384);
    // Fail open: should our socket overflow anyway, the kernel passes the packet undelayed instead
    // of dropping it.
    if (nfq_set_queue_flags(queue, NFQA_CFG_F_FAIL_OPEN, NFQA_CFG_F_FAIL_OPEN) < 0)
        std::fprintf(stderr, "delay_holder: no fail-open on this kernel: %s\n", std::strerror(errno));

    const int fd = nfq_fd(handle);
    // A burst of probes must fit in the socket while they wait; FORCE because we run as root.
    const int rcvbuf = 8 << 20;
    if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &rcvbuf, sizeof rcvbuf) < 0
        && setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &rcvbuf, sizeof rcvbuf) < 0)
        std::fprintf(stderr, "delay_holder: cannot raise the receive buffer: %s\n", std::strerror(errno));

    std::printf("ready\n");
    std::fflush(stdout);

    alignas(8) static char buf[1 << 16];
    unsigned long overflows = 0;
    int rc = 0;
    // Closing the queue drops whatever it holds, such as the answer to a packet just let go. So a
    // stop request ends the delay and the loop goes on until the queue has been quiet for 20 ms.
    constexpr int64_t kQuietNs = 20'000'000;
    bool stopping = false;
    int64_t quietUntil = 0, hardStop = 0;
    while (!stopping || nowNs() < std::min(quietUntil, hardStop)) {
        if (g_stop && !stopping) {
            stopping = true;
            state.delayNs = 0;
            for (Held& h : state.held)
                h.dueNs = 0;
            quietUntil = nowNs() + kQuietNs;
            hardStop = nowNs() + 50 * kQuietNs;
        }
        const int64_t wakeAt = !state.held.empty() ? state.held.front().dueNs : stopping ? quietUntil : -1;
        timespec timeout {};
        if (wakeAt >= 0) {
            const int64_t left = std::max<int64_t>(0, wakeAt - nowNs());
            timeout.tv_sec = left / 1'000'000'000;
            timeout.tv_nsec = left % 1'000'000'000;
        }
        pollfd pfd {fd, POLLIN, 0};
        const int ready = ppoll(&pfd, 1, wakeAt >= 0 ? &timeout : nullptr, &waitMask);
        if (ready < 0 && errno != EINTR) {
            std::fprintf(stderr, "delay_holder: ppoll: %s\n", std::strerror(errno));
            rc = 1;
            break;
        }
        while (ready > 0) {
            const ssize_t n = recv(fd, buf, sizeof buf, MSG_DONTWAIT);
            if (n >= 0) {
                nfq_handle_packet(handle, buf, int(n));
                quietUntil = nowNs() + kQuietNs;
            } else if (errno == ENOBUFS) {
                // Fail-open let those packets through without their delay: this run is not exact.
                std::fprintf(stderr, "delay_holder: receive buffer overflowed (%lu), packets passed undelayed\n",
                             ++overflows);
            } else if (errno == EINTR) {
                continue;
            } else {
                if (errno != EAGAIN) {
                    std::fprintf(stderr, "delay_holder: recv: %s\n", std::strerror(errno));
                    rc = 1;
                }
                break;
            }
        }
        if (rc || !releaseDue(queue, state, nowNs())) {
            rc = 1;
            break;
        }
    }
    releaseDue(queue, state, INT64_MAX);
    nfq_destroy_queue(queue);
    nfq_close(handle);
    return rc;
}
