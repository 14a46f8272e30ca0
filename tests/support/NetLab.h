// One network lab (lab/netlab.sh) for a test: namespaces built on construction, removed on
// destruction. A test that uses it is declared with LAB in tests/CMakeLists.txt.
#pragma once

#include <QFileInfo>
#include <QProcess>
#include <QtTest>

#include <atomic>
#include <memory>
#include <unistd.h>
#include <vector>

// In a test function: skip where no lab can be built here, fail where building one broke.
#define NETLAB_REQUIRE(lab)                                                                                  \
    do {                                                                                                     \
        if (!(lab).canRun()) QSKIP(qPrintable((lab).error()));                                               \
        QVERIFY2((lab).ready(), qPrintable((lab).error()));                                                  \
    } while (false)

struct NetLabOptions {
    int delayMs = 0;               // per link direction, path topology only
    bool kernelRateLimit = false;  // true: the kernel's ICMP rate limits, as real routers have
};

class NetLab {
public:
    explicit NetLab(const QString& topology, NetLabOptions options = {})
        : m_name(QStringLiteral("pl-%1-%2-%3").arg(topology.left(4)).arg(::getpid()).arg(s_counter++))
    {
        if (::geteuid() != 0)
            m_error = QStringLiteral("needs root to build network namespaces (CI runs as root)");
        else if (options.delayMs > 0 && !QFileInfo(QStringLiteral(PATHLARK_DELAY_HOLDER)).isExecutable())
            m_error = QStringLiteral("delay_holder is not built (needs libnetfilter-queue-dev)");
        if ((m_canRun = m_error.isEmpty())) {
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            env.insert("NETLAB_DELAY_MS", QString::number(options.delayMs));
            env.insert("NETLAB_RATELIMIT", options.kernelRateLimit ? "default" : "0");
            env.insert("NETLAB_HOLDER", PATHLARK_DELAY_HOLDER);
            QProcess up;
            up.setProcessEnvironment(env);
            up.start("bash", {script(), "up", m_name, topology});
            m_ready = up.waitForFinished(60000) && up.exitStatus() == QProcess::NormalExit && up.exitCode() == 0;
            m_error = m_ready ? QString() : "netlab.sh up " + m_name + ' ' + topology + ": " + up.readAllStandardError();
        }
    }
    ~NetLab()
    {
        for (const auto& p : m_processes)
            p->kill(), p->waitForFinished(3000);
        if (m_canRun)
            QProcess::execute("bash", {script(), "down", m_name});
    }
    Q_DISABLE_COPY_MOVE(NetLab)

    bool canRun() const { return m_canRun; }
    bool ready() const { return m_ready; }
    QString error() const { return m_error; }
    QString name(const QString& node) const { return m_name + u'-' + node; }

    // Starts a command inside a node; the lab kills it, if it still runs, before taking the node down.
    QProcess* start(const QString& node, const QStringList& args)
    {
        const auto& p = m_processes.emplace_back(std::make_unique<QProcess>());
        p->start("ip", QStringList{"netns", "exec", name(node)} + args);
        return p.get();
    }

private:
    static QString script() { return QStringLiteral(PATHLARK_LAB_DIR "/netlab.sh"); }

    static inline std::atomic<int> s_counter = 0;
    const QString m_name;
    QString m_error;
    bool m_canRun = false, m_ready = false;
    std::vector<std::unique_ptr<QProcess>> m_processes;
};
