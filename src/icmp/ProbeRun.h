#pragma once
#include "IcmpPacket.h"
#include "platform/IcmpSocket.h"

#include <QHash>
#include <QObject>
#include <QString>

#include <array>
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

// One result of a run, in the order the control raises it.
struct RunRow {
    enum class Kind { Error, Echo, Hop, Complete };
    Kind kind = Kind::Error;
    QString text;               // Error: the description; Hop: the return code's description
    bool hasResponder = false;  // the row names a responder and waits for its name
    quint32 responder = 0;
    QString tripTime;
    qint32 returnCode = 0;
    int dataSize = 0;
    int ttl = 0;
    int hop = 0;
};

// Packets that reached the socket but answer none of our probes. They are only counted.
enum class Ignored { NotOurs, Truncated, Malformed, BadChecksum, Late, Count };

// One ping sequence or trace: its socket, its probes and its rows. Rows leave in order,
// each waiting at most about a second for its responder's name; a run ends with a
// Complete row, or quietly with stop().
class ProbeRun : public QObject {
    Q_OBJECT
public:
    // Hands one row to the control; true asks the run to end (a trace's Cancel).
    using Deliver = std::function<bool(const RunRow& row, const QString& responderName)>;

    // Probes carry `dataSize` bytes of echo data.
    ProbeRun(const IcmpAdapters& adapters, quint32 target, int dataSize, Deliver deliver, QObject* parent);
    ~ProbeRun() override;

    // Opens the socket and sends the first probes.
    void start();
    // Ends the run without another row and frees its socket.
    void stop();

    bool hasSocket() const { return m_socket != nullptr; }
    IcmpSocket::Kind socketKind() const { return m_socketKind; }
    int ignored(Ignored reason) const { return m_ignored[size_t(reason)]; }
    int ignoredTotal() const;

protected:
    static constexpr qint64 kNever = std::numeric_limits<qint64>::max();
    static constexpr qint64 kMillisecond = 1000000;

    struct Reply {
        int owner = 0;               // what the probe was sent for: an echo's index, a hop
        icmp::Answer answer;
        quint32 responder = 0;
        qint64 tripNs = 0;
        int ttl = -1;
    };

    virtual void begin() = 0;
    virtual void onReply(const Reply& reply) = 0;
    virtual void onTime(qint64 nowNs) = 0;
    // The next moment onTime() has something to do, or kNever.
    virtual qint64 nextDeadline() const = 0;

    // Sends a probe with that IP TTL (-1: the system's) on behalf of `owner`; 0 or the errno.
    int sendProbe(int ttl, int owner);
    void pushRow(RunRow row);
    // Starts the name lookup of an address now, so that it runs while other probes wait.
    void lookUpName(quint32 address);
    // Queues the Complete row and frees the socket; the queued rows still go out.
    void finish();
    void countIgnored(Ignored reason) { ++m_ignored[size_t(reason)]; }
    qint64 now() const;
    quint32 target() const { return m_target; }
    bool probing() const { return m_socket != nullptr && !m_stopped; }

private:
    struct Probe {
        int owner;
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
    void onAlarm();
    void flush();
    void reschedule();

    IcmpAdapters m_adapters;
    quint32 m_target;
    int m_dataSize;
    Deliver m_deliver;
    std::unique_ptr<IcmpSocket> m_socket;
    IcmpSocket::Kind m_socketKind = IcmpSocket::Kind::Datagram;
    std::unique_ptr<EngineAlarm> m_alarm;
    quint16 m_identifier;
    quint16 m_nextSequence;
    QHash<quint16, Probe> m_probes;
    QHash<quint32, Name> m_names;
    std::deque<RunRow> m_rows;
    std::array<int, size_t(Ignored::Count)> m_ignored{};
    bool m_stopped = false;
    bool m_delivering = false;
};
