#include "MonitorWindow.h"

#include "AppIcon.h"
#include "AsnText.h"
#include "CopySave.h"
#include "DisplayText.h"
#include "Module1.h"
#include "MonitorChart.h"
#include "MonitorTable.h"
#include "monitor/PathMonitor.h"
#include "platform/ui/Dialogs.h"

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QVBoxLayout>

namespace {

QPushButton* addButton(QHBoxLayout* row, const QString& text, const char* name)
{
    auto* button = new QPushButton(text);
    button->setObjectName(QLatin1String(name));
    button->setAutoDefault(false);
    row->addWidget(button);
    return button;
}

} // namespace

MonitorWindow::MonitorWindow(monitor::PathMonitor* monitor, MessageBox& messages, FileDialog& files)
    : QWidget(nullptr, Qt::Window)
    , m_monitor(monitor)
    , m_messages(messages)
    , m_files(files)
{
    setObjectName(QStringLiteral("MonitorWindow"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowIcon(appIcon());
    setWindowTitle(QStringLiteral("Path Monitor — ") + oneLineText(m_monitor->target().host));
    m_monitor->setParent(this);

    m_verdict = new QLabel;
    m_verdict->setObjectName(QStringLiteral("Verdict"));
    m_verdict->setTextFormat(Qt::PlainText);   // it holds the host as typed: never markup
    m_verdict->setWordWrap(true);
    m_verdict->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_verdict->setFocusPolicy(Qt::StrongFocus);
    m_table = new MonitorTable(this);
    m_chart = new MonitorChart(this);
    m_chart->setMinimumHeight(160);

    auto* split = new QSplitter(Qt::Vertical);
    split->addWidget(m_table);
    split->addWidget(m_chart);
    split->setChildrenCollapsible(false);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(buildControls());
    layout->addWidget(m_verdict);
    layout->addWidget(split, 1);
    resize(820, 620);

    connect(m_monitor, &monitor::PathMonitor::roundAdded, this, &MonitorWindow::showRound);
    connect(m_monitor, &monitor::PathMonitor::namesChanged, this, [this] { m_table->showMonitor(*m_monitor); });
    connect(m_monitor, &monitor::PathMonitor::verdictChanged, this, &MonitorWindow::showVerdict);
    connect(m_monitor, &monitor::PathMonitor::failed, this, &MonitorWindow::showFailure);
    connect(m_table, &MonitorTable::chosenHopChanged, this,
            [this](int hop) { m_chart->showHop(m_monitor->model(), hop); });
    auto* f1 = new QShortcut(QKeySequence(Qt::Key_F1), this);
    connect(f1, &QShortcut::activated, this, [this] {
        if (m_help)
            m_help();
    });

    showVerdict(m_monitor->verdict().text);
    m_monitor->start(m_monitor->intervalSeconds());
}

MonitorWindow::~MonitorWindow()
{
    m_monitor->stop();
}

QWidget* MonitorWindow::buildControls()
{
    auto* bar = new QWidget;
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(0, 0, 0, 0);
    auto* interval = new QDoubleSpinBox;
    interval->setObjectName(QStringLiteral("Interval"));
    interval->setRange(monitor::PathMonitor::kMinIntervalSeconds, monitor::PathMonitor::kMaxIntervalSeconds);
    interval->setDecimals(1);
    interval->setSingleStep(0.1);
    interval->setSuffix(tr(" s"));
    interval->setKeyboardTracking(false);   // a half-typed number is no interval
    interval->setValue(m_monitor->intervalSeconds());
    auto* label = new QLabel(tr("&Interval:"));
    label->setBuddy(interval);
    row->addWidget(label);
    row->addWidget(interval);
    connect(interval, &QDoubleSpinBox::valueChanged, this, [this](double s) { m_monitor->setIntervalSeconds(s); });

    m_pause = addButton(row, tr("&Pause"), "Pause");
    connect(m_pause, &QPushButton::clicked, this, [this] {
        m_monitor->setPaused(!m_monitor->paused());
        m_pause->setText(m_monitor->paused() ? tr("&Resume") : tr("&Pause"));
    });
    connect(addButton(row, tr("R&eset"), "Reset"), &QPushButton::clicked, this, [this] { m_monitor->reset(); });

    auto* view = new QComboBox;
    view->setObjectName(QStringLiteral("ChartView"));
    view->setAccessibleName(tr("Chart shows"));
    view->addItems({tr("Last minute"), tr("Last 10 minutes"), tr("Last hour"), tr("Everything")});
    view->setCurrentIndex(int(m_chart->view()));
    connect(view, &QComboBox::currentIndexChanged, this, [this](int index) {
        m_chart->setView(MonitorChart::View(index));
        m_chart->showHop(m_monitor->model(), m_table->chosenHop());
    });
    row->addStretch(1);
    row->addWidget(view);
    connect(addButton(row, tr("&Copy"), "Copy"), &QPushButton::clicked, this, &MonitorWindow::copyReport);
    connect(addButton(row, tr("&Save As…"), "SaveAs"), &QPushButton::clicked, this, &MonitorWindow::saveReport);
    connect(addButton(row, tr("Save C&hart…"), "SaveChart"), &QPushButton::clicked, this, &MonitorWindow::saveChart);
    return bar;
}

void MonitorWindow::setOrigins(asn::AsnLookup* origins)
{
    m_origins = origins;
    if (origins)
        connect(origins, &asn::AsnLookup::changed, this, [this] { m_table->showMonitor(*m_monitor, m_origins); });
}

void MonitorWindow::setWhois(std::function<void(const QString& address)> whois)
{
    auto* action = new QAction(tr("&Whois This Address"), m_table);
    action->setObjectName(QStringLiteral("WhoisThisAddress"));
    m_table->setContextMenuPolicy(Qt::ActionsContextMenu);
    m_table->addAction(action);
    // The hop's main responder, or the other responder a row under it stands for.
    const auto chosen = [this]() -> std::optional<QHostAddress> {
        QTreeWidgetItem* row = m_table->currentItem();
        QTreeWidgetItem* top = row && row->parent() ? row->parent() : row;
        const int hop = top ? m_table->indexOfTopLevelItem(top) + 1 : 0;
        if (hop < 1 || hop > m_monitor->model().hopCount())
            return std::nullopt;
        const monitor::HopStats& stats = m_monitor->model().hop(hop);
        const QList<monitor::HopStats::Responder> responders = stats.responders();
        const int child = row->parent() ? top->indexOfChild(row) + 1 : 0;
        const QHostAddress address = child ? (child < responders.size() ? responders[child].address : QHostAddress())
                                           : stats.mainResponder();
        return address.isNull() ? std::nullopt : std::optional(address);
    };
    connect(action, &QAction::triggered, this, [chosen, whois = std::move(whois)] {
        if (const std::optional<QHostAddress> address = chosen())
            whois(address->toString());
    });
    const auto follow = [action, chosen] { action->setEnabled(chosen().has_value()); };
    connect(m_table, &QTreeWidget::currentItemChanged, this, follow);
    follow();
}

void MonitorWindow::showRound()
{
    lookUpResponders(m_origins, m_monitor->model());
    m_table->showMonitor(*m_monitor, m_origins);
    m_chart->roundAdded(m_monitor->model(), m_table->chosenHop());
}

void MonitorWindow::showVerdict(const QString& text)
{
    const QString shown = oneLineText(text);
    m_verdict->setText(shown);
    // A screen reader hears the new verdict: its name changes with it.
    m_verdict->setAccessibleName(shown);
    QAccessibleEvent changed(m_verdict, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&changed);
}

void MonitorWindow::showFailure(const QString& message)
{
    m_monitor->stop();
    showVerdict(message);
    m_messages.show(this, message, MessageBox::kExclamation, kProgramTitle);
}

void MonitorWindow::copyReport()
{
    QApplication::clipboard()->setText(monitor::reportText(m_monitor->report(reportOrigins(m_origins, m_monitor->model()))));
}

void MonitorWindow::saveReport()
{
    static const QStringList filters{tr("Text report (*.txt)"), tr("CSV (*.csv)"), tr("JSON (*.json)")};
    static const QStringList suffixes{QStringLiteral("txt"), QStringLiteral("csv"), QStringLiteral("json")};
    int chosen = 0;
    QString path = m_files.saveFileNameAs(this, tr("Save Report"), kProgramTitle + tr(" monitor.txt"), filters, chosen);
    if (path.isEmpty())
        return;
    // A name that ends in one of the formats decides; otherwise the filter picked does, and names the file.
    const qsizetype named = suffixes.indexOf(QFileInfo(path).suffix().toLower());
    if (named >= 0)
        chosen = int(named);
    else
        path += u'.' + suffixes.value(chosen, suffixes[0]);
    const monitor::Report report = m_monitor->report(reportOrigins(m_origins, m_monitor->model()));
    const QByteArray bytes = chosen == 2 ? monitor::reportJson(report)
        : chosen == 1                    ? monitor::reportCsv(report).toUtf8()
                                         : monitor::reportText(report).toUtf8();
    tellSaveFailure(path, saveWhole(path, bytes));
}

void MonitorWindow::saveChart()
{
    int chosen = 0;
    const QString path = m_files.saveFileNameAs(this, tr("Save Chart"), kProgramTitle + tr(" chart.png"),
                                                {tr("PNG image (*.png)")}, chosen);
    if (path.isEmpty())
        return;
    QBuffer png;
    png.open(QIODevice::WriteOnly);
    m_chart->grab().save(&png, "PNG");
    tellSaveFailure(path, saveWhole(path, png.data()));
}

void MonitorWindow::tellSaveFailure(const QString& path, const QString& failure)
{
    if (!failure.isEmpty())
        m_messages.show(this, tr("Could not save %1: %2").arg(path, failure), MessageBox::kExclamation, kProgramTitle);
}

void MonitorWindow::closeEvent(QCloseEvent* event)
{
    m_monitor->stop();   // no probe leaves after the window is closed
    event->accept();
}
