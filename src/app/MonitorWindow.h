#pragma once
#include <QPointer>
#include <QWidget>

#include <functional>

class FileDialog;
class MessageBox;
class MonitorChart;
class MonitorTable;
class QLabel;
class QPushButton;
namespace asn {
class AsnLookup;
}
namespace monitor {
class PathMonitor;
}

// A path monitor in a window of its own: the interval, Pause and Reset; the verdict in words
// above the table of hops; the chart of the chosen hop; Copy, Save As (text, CSV, JSON) and the
// chart as PNG. The window owns its monitor and starts it; closing it stops the probes at once
// and deletes the window.
class MonitorWindow final : public QWidget {
    Q_OBJECT
public:
    MonitorWindow(monitor::PathMonitor* monitor, MessageBox& messages, FileDialog& files);
    // What F1 does: open the monitor's help page.
    void setHelp(std::function<void()> help) { m_help = std::move(help); }
    // Where the AS of each hop is looked up (the main window's, kept for the program's life).
    void setOrigins(asn::AsnLookup* origins);
    // What "Whois This Address" does with the address of the chosen hop.
    void setWhois(std::function<void(const QString& address)> whois);
    ~MonitorWindow() override;

    monitor::PathMonitor& monitor() const { return *m_monitor; }

    void copyReport();
    void saveReport();
    void saveChart();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QWidget* buildControls();
    void showRound();
    void showVerdict(const QString& text);
    void showFailure(const QString& message);
    void tellSaveFailure(const QString& path, const QString& failure);

    monitor::PathMonitor* m_monitor;   // a child of the window
    MessageBox& m_messages;
    FileDialog& m_files;
    std::function<void()> m_help;
    QPointer<asn::AsnLookup> m_origins;
    QLabel* m_verdict = nullptr;
    MonitorTable* m_table = nullptr;
    MonitorChart* m_chart = nullptr;
    QPushButton* m_pause = nullptr;
};
