// The ICMP engine on a fake socket, clock and name lookup: what rows a run raises, in which
// order and when; and the real name lookup's hand-back.
#include "EventLog.h"
#include "FakeInterfaceList.h"
#include "PacketBuilder.h"
#include "icmp/AxIcmp.h"
#include "icmp/LocalAddress.h"
#include "platform/EngineClock.h"
#include "platform/SystemNameLookup.h"

#include <QPointer>
#include <QtTest>

using namespace packets;

namespace {

// The control in a world the test makes up: a clock it moves, a raw socket whose traffic it
// invents (the datagram socket's paths are tested for real), reverse lookups that know the
// target's name (held until completePending() while `namesHang`). The control's events are
// kept as text, each with the fake time it came at.
struct Engine final : EngineClock, IcmpSocketFactory, NameLookup {
    static constexpr qint64 kNever = std::numeric_limits<qint64>::max();
    struct Alarm final : EngineAlarm {
        Alarm(Engine& engine, std::function<void()> f) : e(engine), fire(std::move(f)) { e.alarms.push_back(this); }
        ~Alarm() override { std::erase(e.alarms, this); }
        void setDeadline(qint64 ns) override { due = ns; }
        void cancel() override { due = kNever; }
        Engine& e;
        std::function<void()> fire;
        qint64 due = kNever;
    };
    struct Socket final : IcmpSocket {
        explicit Socket(Engine& engine) : e(engine) { ++e.openSockets; e.socket = this; }
        ~Socket() override { --e.openSockets; e.socket = e.socket == this ? nullptr : e.socket; }
        Kind kind() const override { return Kind::Raw; }
        int send(quint32, int, const QByteArray& message) override
        {
            e.sent.push_back(message);
            return e.sendError;
        }
        // The engine reads as soon as readyRead comes, so one waiting item is all there is.
        std::optional<IcmpReceived> receive() override { return std::exchange(e.inbox, std::nullopt); }
        Engine& e;
    };

    Engine()
        : control(std::in_place, interfaces, IcmpAdapters{this, this, this})
    {
        logEvents(*control, [this, t0 = now](const QString& event) {
            events << event;
            atMs.push_back((now - t0) / 1e6);
        });
    }
    qint64 monotonicNs() const override { return now; }
    qint64 realtimeNs() const override { return now + 1'700'000'000'000'000'000; }
    std::unique_ptr<EngineAlarm> createAlarm(std::function<void()> fire) override
    {
        return std::make_unique<Alarm>(*this, std::move(fire));
    }
    IcmpSocketOpen open() override { return {std::make_unique<Socket>(*this), 0, 0}; }
    void addressOf(const QString&, QObject*, std::function<void(std::optional<quint32>)>) override {}
    void nameOf(quint32 address, QObject* context, std::function<void(QString)> done) override
    {
        auto complete = [context = QPointer(context), done, address] {
            const QString name = address == kTarget ? "target.test" : "";
            if (context)
                QMetaObject::invokeMethod(context, [done, name] { done(name); }, Qt::QueuedConnection);
        };
        namesHang ? pending.push_back(complete) : complete();
    }
    void completePending() { std::ranges::for_each(std::exchange(pending, {}), [](const auto& f) { f(); }); }

    // Lets `ms` pass, firing every alarm that falls due on the way, in time order.
    void advanceMs(double ms)
    {
        const qint64 end = now + qint64(ms * 1e6);
        for (int guard = 0; guard < 100000; ++guard) {
            QCoreApplication::processEvents();
            const auto next = std::ranges::min_element(alarms, {}, &Alarm::due);
            if (next == alarms.end() || (*next)->due > end)
                break;
            now = std::max(now, (*next)->due);
            (*next)->cancel();
            (*next)->fire();
        }
        now = end;
        QCoreApplication::processEvents();
    }
    void start(bool trace)
    {
        control->setHostAddress(QStringLiteral("198.18.5.2"));   // an address: no forward lookup
        trace ? control->Trace() : control->Ping();
        QCoreApplication::processEvents();   // the run starts from the event loop
    }
    // Arrives now, stamped by the "kernel" 50 us before; lost once the engine has closed its socket.
    void arrive(const QByteArray& packet, bool truncated = false)
    {
        if (socket) {
            inbox = IcmpReceived{.bytes = packet, .kernelTimeNs = realtimeNs() - 50'000, .truncated = truncated};
            emit socket->readyRead();
        }
    }
    void reply(size_t i, int ttl = 61) { arrive(ipPacket(kTarget, kHost, ttl, echoReplyTo(sent.at(i)))); }

    qint64 now = 1000'000'000'000;
    std::vector<Alarm*> alarms;
    int sendError = 0;
    Socket* socket = nullptr;
    int openSockets = 0;
    std::vector<QByteArray> sent;
    std::optional<IcmpReceived> inbox;
    bool namesHang = false;
    std::vector<std::function<void()>> pending;
    QStringList events;
    std::vector<double> atMs;
    FakeInterfaceList interfaces;
    std::optional<AxIcmp> control;
};

} // namespace

class TestIcmpEngine : public QObject {
    Q_OBJECT
private slots:
    // Fault caught: a ping that sends at the wrong pace, mis-times (not from the kernel's stamp)
    // or mislabels a reply, holds a row without bound for a slow name or forgets a late one,
    // keeps its socket, or never ends; replies, losses and ICMP errors each become their own
    // row, in arrival order.
    void pingSequence()
    {
        Engine e;
        e.namesHang = true;
        e.start(false);
        e.advanceMs(0.25);
        e.reply(0, 61);
        e.advanceMs(999);           // the name of the target, looked up at the start, is late
        QVERIFY(e.events.isEmpty());
        e.advanceMs(1000);          // echo 2 goes out at 1 s and is lost
        e.completePending();
        e.advanceMs(1);             // echo 3 went out at 2 s
        e.reply(2, 255);
        e.advanceMs(1000.5);        // echo 4 at 3 s; echo 2 times out then, after its 2 s
        e.arrive(ipPacket(kRouter, kHost, 64, icmpError(3, 1, e.sent.at(3))));
        QCOMPARE(e.sent.size(), size_t(4));
        QCOMPARE(e.events, (QStringList{"P|198.18.5.2||0.20 ms|32|61", "P|198.18.5.2|target.test|0.20 ms|32|255",
                                        "E|Request timed out", "E|Destination host unreachable (from 198.18.3.1)",
                                        "C"}));
        QCOMPARE(e.atMs, (std::vector<double>{1000, 2000.25, 3000, 3000.75, 3000.75}));
        QCOMPARE(e.openSockets, 0);
    }

    // Fault caught: what a raw socket sees that does not answer our probes (another identifier,
    // sequence or target; too big to read; a duplicate) shown as rows instead of counted.
    void strayPacketsAreCountedNotShown()
    {
        Engine e;
        e.start(false);
        const QByteArray probe = e.sent.at(0);
        const QByteArray reply = echoReplyTo(probe);
        e.arrive(ipPacket(kTarget, kHost, 60, withIcmpChecksum(patched(reply, 4, quint8(probe[4]) ^ 1u))));
        e.arrive(ipPacket(kTarget, kHost, 60, withIcmpChecksum(patched(reply, 6, quint8(probe[6]) ^ 0x40u))));
        e.arrive(ipPacket(kRouter, kHost, 60, icmpError(11, 0, probe, 0, addr(198, 18, 9, 9))));
        e.arrive({}, true);
        e.reply(0);
        e.reply(0);
        e.advanceMs(1);
        QCOMPARE(e.events, QStringList{"P|198.18.5.2|target.test|0.00 ms|32|61"});   // strays came with TTL 60
        QCOMPARE(e.control->ignoredPackets(), 5);
    }

    // Fault caught: a replaced run that still raises rows or its own SequenceComplete (which
    // would re-enable the buttons mid-run), a failed send leaving a run without an end, or the
    // control destroyed (the window closed) mid-run keeping its socket or its alarms.
    void secondRunAndSendFailure()
    {
        Engine e;
        e.start(false);
        e.advanceMs(0.1);
        e.reply(0);
        e.advanceMs(0.1);
        e.start(true);
        QCOMPARE(e.openSockets, 1);
        e.advanceMs(0.1);
        e.reply(1);   // the trace's probe for hop 1 reaches the target
        e.advanceMs(10000);
        QCOMPARE(e.events, (QStringList{"P|198.18.5.2|target.test|0.05 ms|32|61",
                                        "T|1|198.18.5.2|target.test|0.05 ms|Success", "C"}));
        e.sendError = ENETUNREACH;
        e.start(true);
        e.advanceMs(1);
        QCOMPARE(e.events.mid(3), (QStringList{"E|Transmit failed: no route to the destination network", "C"}));
        e.sendError = 0;
        e.start(false);
        e.control.reset();
        QVERIFY(e.openSockets == 0 && e.alarms.empty());
    }

    // Fault caught: lookups answered on the worker thread, or calling back into a run that is
    // gone. Only loopback names, which the hosts file answers without any query.
    void systemLookupComesBackOnTheUiThread()
    {
        SystemNameLookup lookup;
        QObject context;
        QStringList results;
        lookup.nameOf(addr(127, 0, 0, 1), &context, [&](const QString& name) {
            results << name + (QThread::currentThread() == context.thread() ? "" : " off the UI thread");
        });
        lookup.addressOf("localhost", &context, [&](std::optional<quint32> a) { results << dottedQuad(*a); });
        auto gone = std::make_unique<QObject>();
        lookup.nameOf(addr(127, 0, 0, 1), gone.get(), [&](const QString&) { results << "called back when gone"; });
        gone.reset();
        QTRY_COMPARE_WITH_TIMEOUT(results.size(), 2, 5000);
        QTest::qWait(200);
        results.sort();
        QCOMPARE(results, (QStringList{"127.0.0.1", "localhost"}));
    }
};

QTEST_MAIN(TestIcmpEngine)
#include "tst_icmp_engine.moc"
