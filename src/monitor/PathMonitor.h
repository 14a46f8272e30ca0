#pragma once
#include "PathModel.h"
#include "Report.h"
#include "Verdict.h"
#include "icmp/ProbeRun.h"

#include <QObject>
#include <QPointer>

class RoundRun;

namespace monitor {

// One running monitor: the engine's rounds fed into the model, the verdict judged after every
// round, and the names of the responders looked up as they first appear. A round probes every
// hop up to 30 until the target answers, then up to the hop past it (RoundRun::setHops).
class PathMonitor final : public QObject {
    Q_OBJECT
public:
    static constexpr double kMinIntervalSeconds = 0.1;
    static constexpr double kMaxIntervalSeconds = 60.0;

    PathMonitor(const IcmpAdapters& adapters, const Target& target, QObject* parent = nullptr);
    ~PathMonitor() override;

    // Opens the socket and sends the first round now. A socket that cannot be had is told
    // through failed(), once.
    void start(double intervalSeconds = 1.0);
    // Stops the probes at once; nothing more is told.
    void stop();
    void setIntervalSeconds(double seconds);
    double intervalSeconds() const { return m_intervalSeconds; }
    void setPaused(bool paused);
    bool paused() const { return m_paused; }
    // Forgets every round so far; the rounds go on.
    void reset();

    const Target& target() const { return m_target; }
    const PathModel& model() const { return m_model; }
    const Verdict& verdict() const { return m_verdict; }
    // The name of a responder; empty when it has none or is still being looked up.
    QString nameOf(const QHostAddress& address) const { return m_names.value(address); }
    // The first errno of a send the kernel refused in the newest round; 0 when none.
    int sendErrno() const { return m_sendErrno; }
    // The whole table as a report, with the names found so far and the origins given.
    Report report(const QHash<QHostAddress, Origin>& origins = {}) const;

signals:
    // After each round, with the model and the verdict updated.
    void roundAdded();
    // The verdict's text changed (for a screen reader to announce).
    void verdictChanged(const QString& text);
    // A name arrived: the table may show it.
    void namesChanged();
    // The probes could not start; `message` tells the user what to change.
    void failed(const QString& message);

private:
    void addRound(const Round& round);
    void lookUpNames(const Round& round);

    IcmpAdapters m_adapters;
    Target m_target;
    QPointer<RoundRun> m_run;
    PathModel m_model;
    Verdict m_verdict;
    QHash<QHostAddress, QString> m_names;   // also holds the addresses being looked up, as empty names
    double m_intervalSeconds = 1.0;
    bool m_paused = false;
    int m_sendErrno = 0;
};

} // namespace monitor
