#pragma once
#include "IcmpPacket.h"
#include "RunReport.h"
#include "platform/IcmpSocket.h"

#include <QHash>
#include <QHostAddress>
#include <QObject>

#include <deque>
#include <functional>
#include <limits>
#include <memory>

class EngineAlarm;
class EngineClock;
class NameLookup;

// The outside world of the ICMP engine.
struct IcmpAdapters {
    IcmpSocketFactory* sockets = nullptr;
    EngineClock* clock = nullptr;
    NameLookup* names = nullptr;
};

// One ping sequence or trace: its socket, its probes and its reports. Reports leave in
// order, each answer waiting at most about a second for its responder's name; a run ends
// with a Complete report, or quietly with stop().
class ProbeRun : public QObject {
    Q_OBJECT
public:
    // Hands one report to the control; true asks the run to end (a trace's Cancel).
    using Deliver = std::function<bool(const RunReport& report, const QString& responderName)>;

    // Each probe is awaited at most this long; a later answer counts as none.
    static constexpr qint64 kMillisecond = 1000000;
    static constexpr qint64 kProbeWaitNs = 2000 * kMillisecond;

    // Probes carry `dataSize` bytes of echo data.
    ProbeRun(const IcmpAdapters& adapters, const QHostAddress& target, int dataSize, Deliver deliver,
             QObject* parent);
    ~ProbeRun() override;

    // Opens the socket and sends the first probes.
    void start();
    // Ends the run without another report and frees its socket.
    void stop();

    bool hasSocket() const { return m_socket != nullptr; }
    IcmpSocket::SocketType socketType() const { return m_socketType; }
    // The packets that reached the socket without answering a probe, by reason.
    const icmp::IgnoredCounts& ignored() const { return m_ignored; }

protected:
    static constexpr qint64 kNever = std::numeric_limits<qint64>::max();

    // An answer tied to one of our probes.
    struct Reply {
        int owner = 0;               // what the probe was sent for: an echo's index, a hop
        int probe = 0;               // the probe's number for its owner, from 1
        icmp::Answer answer;
        QHostAddress responder;
        qint64 tripNs = 0;
        int ttl = -1;
    };

    virtual void begin() = 0;
    virtual void onReply(const Reply& reply) = 0;
    virtual void onTime(qint64 nowNs) = 0;
    // The next moment onTime() has something to do, or kNever.
    virtual qint64 nextDeadline() const = 0;

    // Sends a probe with that TTL (-1: the system's) on behalf of `owner`; 0 or the errno.
    int sendProbe(int ttl, int owner, int probe);
    // Queues a report; an answer waits for its responder's name, whose lookup starts now.
    void report(RunReport report);
    RunReport answerReport(const Reply& reply, int hop) const;
    RunReport silentReport(int hop, int probe) const;
    // Reports a send the kernel refused.
    void reportSendFailure(int errorNumber);
    // Starts the name lookup of an address now, so that it runs while other probes wait.
    void lookUpName(const QHostAddress& address);
    // Queues the Complete report and frees the socket; the queued reports still go out.
    void finish();
    void countIgnored(icmp::IgnoredReason reason) { m_ignored.add(reason); }
    qint64 now() const;
    qint64 realtimeNow() const;
    // Forgets the probes sent for `owner`: a later answer to one of them is unknown.
    void forgetProbes(int owner);
    // Sets the alarm again after a change of plan outside onReply() and onTime().
    void onAlarmSoon() { reschedule(); }
    const QHostAddress& target() const { return m_target; }
    bool probing() const { return m_socket != nullptr && !m_stopped; }

private:
    struct Probe {
        int owner;
        int number;
        qint64 sentRealNs;
        qint64 sentMonoNs;
    };
    struct Name {
        QString text;
        bool done = false;
        qint64 deadlineNs = 0;
    };

    void readReplies();
    bool interpret(const IcmpReceived& received, Reply& reply);
    icmp::Decoded decode(const IcmpReceived& received) const;
    void onAlarm();
    void flush();
    void reschedule();
    void openFailed(const IcmpSocketOpen& opened);

    IcmpAdapters m_adapters;
    QHostAddress m_target;
    icmp::Family m_family;
    int m_dataSize;
    Deliver m_deliver;
    std::unique_ptr<IcmpSocket> m_socket;
    IcmpSocket::SocketType m_socketType = IcmpSocket::SocketType::Datagram;
    std::unique_ptr<EngineAlarm> m_alarm;
    quint16 m_identifier;
    quint16 m_nextSequence;
    QHash<quint16, Probe> m_probes;
    QHash<QHostAddress, Name> m_names;
    std::deque<RunReport> m_reports;
    icmp::IgnoredCounts m_ignored;
    bool m_stopped = false;
    bool m_delivering = false;
};
