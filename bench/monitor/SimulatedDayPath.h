#pragma once
// A path of `hops` nodes for the day-long memory run, with a clock of its own: a day of rounds
// passes in seconds of CPU. Node n (198.18.n.1) answers a probe with TTL n after about n ms, the
// last node is the target; one probe in 100 is lost at random. It behaves as a datagram ICMP
// socket does: errors arrive as error-queue entries quoting our probe, echo replies as the echo
// with its type changed.
#include "icmp/IcmpPacket.h"
#include "platform/EngineClock.h"
#include "platform/IcmpSocket.h"
#include "platform/NameLookup.h"

#include <QCoreApplication>

#include <algorithm>
#include <limits>
#include <map>
#include <vector>

class SimulatedDayPath final : public EngineClock, public IcmpSocketFactory, public NameLookup {
public:
    explicit SimulatedDayPath(int hops) : m_hops(hops) {}

    QHostAddress node(int n) const { return QHostAddress(quint32(198u << 24 | 18u << 16 | quint32(n) << 8 | 1u)); }
    QHostAddress target() const { return node(m_hops); }

    qint64 monotonicNs() const override { return m_now; }
    qint64 realtimeNs() const override { return m_now + kEpochNs; }
    std::unique_ptr<EngineAlarm> createAlarm(std::function<void()> fire) override
    {
        return std::make_unique<Alarm>(*this, std::move(fire));
    }
    IcmpSocketOpen open(QAbstractSocket::NetworkLayerProtocol) override
    {
        IcmpSocketOpen opened;
        opened.socket = std::make_unique<Socket>(*this);
        return opened;
    }
    void addressOf(const QString&, QObject*, std::function<void(std::optional<QHostAddress>)> done) override
    {
        done(std::nullopt);
    }
    void nameOf(const QHostAddress&, QObject*, std::function<void(QString)> done) override { done(QString()); }

    // Lets time run to `endNs`: alarms fire and answers arrive in time order.
    void runUntil(qint64 endNs)
    {
        for (;;) {
            const auto alarm = std::ranges::min_element(m_alarms, {}, &Alarm::due);
            const qint64 alarmAt = alarm == m_alarms.end() ? kNever : (*alarm)->due;
            const qint64 arrivalAt = m_arrivals.empty() ? kNever : m_arrivals.begin()->first;
            if (std::min(alarmAt, arrivalAt) > endNs)
                break;
            m_now = std::max(m_now, std::min(alarmAt, arrivalAt));
            if (arrivalAt <= alarmAt) {
                m_inbox.push_back(m_arrivals.begin()->second);
                m_arrivals.erase(m_arrivals.begin());
                if (m_socket)
                    emit m_socket->readyRead();
                m_inbox.clear();
            } else {
                (*alarm)->cancel();
                (*alarm)->fire();
            }
        }
        m_now = endNs;
        QCoreApplication::processEvents();   // deferred deletes
    }

private:
    static constexpr qint64 kNever = std::numeric_limits<qint64>::max();
    static constexpr qint64 kEpochNs = 1'700'000'000'000'000'000;

    struct Alarm final : EngineAlarm {
        Alarm(SimulatedDayPath& path, std::function<void()> f) : p(path), fire(std::move(f)) { p.m_alarms.push_back(this); }
        ~Alarm() override { std::erase(p.m_alarms, this); }
        void setDeadline(qint64 ns) override { due = ns; }
        void cancel() override { due = kNever; }
        SimulatedDayPath& p;
        std::function<void()> fire;
        qint64 due = kNever;
    };
    struct Socket final : IcmpSocket {
        explicit Socket(SimulatedDayPath& path) : p(path) { p.m_socket = this; }
        ~Socket() override { p.m_socket = p.m_socket == this ? nullptr : p.m_socket; }
        SocketType socketType() const override { return SocketType::Datagram; }
        int send(const QHostAddress& to, int ttl, const QByteArray& probe) override
        {
            p.answer(to, ttl, probe);
            return 0;
        }
        std::optional<IcmpReceived> receive() override
        {
            if (p.m_inbox.empty())
                return std::nullopt;
            IcmpReceived r = std::move(p.m_inbox.back());
            p.m_inbox.pop_back();
            return r;
        }
        SimulatedDayPath& p;
    };

    quint32 random()
    {
        m_seed ^= m_seed << 13;
        m_seed ^= m_seed >> 17;
        m_seed ^= m_seed << 5;
        return m_seed;
    }

    void answer(const QHostAddress& to, int ttl, const QByteArray& probe)
    {
        if (random() % 100 == 0)
            return;
        const int n = std::clamp(ttl, 1, m_hops);
        const double ms = n + (random() % 1000) / 1000.0;
        IcmpReceived r;
        r.kernelTimeNs = realtimeNs() + qint64(ms * 1e6);
        if (n < m_hops) {
            r.bytes = probe;
            r.source = to;
            r.queuedError = true;
            r.errorType = icmp::kTimeExceeded;
            r.offender = node(n);
        } else {
            QByteArray reply = probe;
            reply[0] = char(icmp::kEchoReply);
            reply[2] = reply[3] = 0;
            const quint16 sum = icmp::internetChecksum(icmp::bytesOf(reply));
            reply[2] = char(sum >> 8);
            reply[3] = char(sum & 0xff);
            r.bytes = reply;
            r.source = node(n);
        }
        r.ttl = 64 - n;
        m_arrivals.emplace(m_now + qint64(ms * 1e6), std::move(r));
    }

    int m_hops;
    qint64 m_now = 1000'000'000'000;
    quint32 m_seed = 2463534242u;
    std::vector<Alarm*> m_alarms;
    std::multimap<qint64, IcmpReceived> m_arrivals;
    std::vector<IcmpReceived> m_inbox;
    Socket* m_socket = nullptr;
};
