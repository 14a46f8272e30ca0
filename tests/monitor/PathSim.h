#pragma once
// A scripted path for the monitor's tests: each hop's link may delay and drop packets (each
// direction), and each router may answer only some probes, answer slowly, or share its hop
// with a second router. Seeded, so a run is the same every time.
#include "monitor/PathModel.h"

#include <QRandomGenerator>

struct SimHop {
    double linkMs = 1;          // round-trip delay the link before this hop adds
    double linkLoss = 0;        // chance the link before this hop drops a packet, each way
    double answerLoss = 0;      // chance this router does not answer a probe that reached it
    double answerMs = 0;        // extra time the router takes to answer itself
    double jitterMs = 0;        // each answer is late by up to this much, at random
    double otherShare = 0;      // share of answers coming from a second router (load balancing)
    int id = 0;                 // names the router 198.18.0.<id>; 0: its hop number
};

struct PathSim {
    QList<SimHop> hops;         // the last one is the target
    QRandomGenerator rng{1};
    qint64 nowMs = 1'700'000'000'000;

    static QHostAddress router(int n) { return QHostAddress(QStringLiteral("198.18.0.%1").arg(n)); }
    static QHostAddress target() { return QHostAddress(QStringLiteral("198.18.9.9")); }
    bool chance(double p) { return p > 0 && rng.generateDouble() < p; }

    monitor::Round round()
    {
        monitor::Round r{.atMs = nowMs};
        nowMs += 1000;
        for (int ttl = 1; ttl <= hops.size(); ++ttl) {
            double rtt = 0;
            bool through = true;
            for (int i = 0; i < ttl && through; ++i) {
                through = !chance(hops[i].linkLoss) && !chance(hops[i].linkLoss);
                rtt += hops[i].linkMs;
            }
            const SimHop& hop = hops[ttl - 1];
            if (!through || chance(hop.answerLoss)) {
                r.hops.append(monitor::HopSample::lost());
                continue;
            }
            rtt += hop.answerMs + hop.jitterMs * rng.generateDouble();
            const bool isTarget = ttl == hops.size();
            const int id = chance(hop.otherShare) ? 100 + ttl : (hop.id ? hop.id : ttl);
            r.hops.append(monitor::HopSample::reply(isTarget ? target() : router(id), rtt, isTarget));
        }
        return r;
    }
    void run(monitor::PathModel& model, int rounds)
    {
        for (int i = 0; i < rounds; ++i)
            model.addRound(round());
    }
};
