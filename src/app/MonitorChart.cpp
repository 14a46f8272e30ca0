#include "MonitorChart.h"

#include "monitor/PathModel.h"

#include <QAreaSeries>
#include <QDateTime>
#include <QDateTimeAxis>
#include <QLineSeries>
#include <QScatterSeries>
#include <QValueAxis>

#include <algorithm>
#include <cmath>

namespace {

qint64 spanMs(MonitorChart::View view)
{
    switch (view) {
    case MonitorChart::View::LastMinute:
        return 60'000;
    case MonitorChart::View::LastTenMinutes:
        return 600'000;
    case MonitorChart::View::LastHour:
        return 3'600'000;
    case MonitorChart::View::Everything:
        break;
    }
    return 0;
}

// In a thinned view, the band and the lost marks take a column this wide (a mark is 7 pixels).
constexpr int kBandColumnPixels = 8;
constexpr int kMarkPixels = 7;

// One entry of a view: a raw sample, a one-minute bucket, or a pixel column of either.
struct Slot {
    qint64 atMs = 0;
    double best = 0, worst = 0, sum = 0;
    int sent = 0, received = 0;

    void add(const Slot& o)
    {
        if (!sent)
            atMs = o.atMs;
        if (o.received) {
            best = received ? std::min(best, o.best) : o.best;
            worst = received ? std::max(worst, o.worst) : o.worst;
        }
        sum += o.sum;
        sent += o.sent;
        received += o.received;
    }
};

// More entries than columns: one per column (its first entry's time), so a drawing's cost stays
// within the plot's width however many rounds the view spans.
QList<Slot> thinned(const QList<Slot>& entries, qint64 start, qint64 end, int columns)
{
    if (entries.size() <= columns)
        return entries;
    QList<Slot> out;
    out.reserve(columns);
    const double perColumn = double(std::max<qint64>(1, end - start)) / columns;
    qint64 column = -1;
    for (const Slot& s : entries) {
        const qint64 c = qint64(double(s.atMs - start) / perColumn);
        if (c != column || out.isEmpty())
            out.append(Slot{});
        column = c;
        out.last().add(s);
    }
    return out;
}

// What a view shows.
struct Drawing {
    QList<QPointF> trips, lost, best, worst;
    double sum = 0;
    int answers = 0;
    double top = 1;

    void put(const Slot& s)
    {
        const double x = double(s.atMs);
        if (s.received) {
            trips << QPointF(x, s.sum / s.received);
            sum += s.sum;
            answers += s.received;
            top = std::max(top, s.worst);
        }
    }
};

// The axis's top: a round figure at or above `ms`, so small changes keep the axis as it is.
double roundedUp(double ms)
{
    const double decade = std::pow(10.0, std::floor(std::log10(std::max(ms, 1.0))));
    for (const double step : {1.0, 1.5, 2.0, 3.0, 4.0, 5.0, 6.0, 8.0}) {
        if (step * decade >= ms)
            return step * decade;
    }
    return 10 * decade;
}

} // namespace

MonitorChart::MonitorChart(QWidget* parent)
    : QChartView(new QChart, parent)   // owned by the view (a chart given later would be released, not deleted)
    , m_trips(new QLineSeries)
    , m_average(new QLineSeries)
    , m_best(new QLineSeries(this))   // the band's edges: the band does not own them
    , m_worst(new QLineSeries(this))
    , m_band(new QAreaSeries(m_worst, m_best))
    , m_lost(new QScatterSeries)
    , m_time(new QDateTimeAxis)
    , m_ms(new QValueAxis)
{
    m_pending.setSingleShot(true);
    connect(&m_pending, &QTimer::timeout, this, &MonitorChart::redraw);
    setObjectName(QStringLiteral("MonitorChart"));
    setAccessibleName(tr("Round trips over time"));
    setRenderHint(QPainter::Antialiasing);
    QChart* chart = this->chart();
    chart->legend()->setAlignment(Qt::AlignBottom);
    m_trips->setName(tr("Round trip"));
    m_average->setName(tr("Average"));
    m_average->setPen(QPen(Qt::darkGreen, 1.5, Qt::DashLine));
    m_band->setName(tr("Best to worst"));
    m_band->setBrush(QColor(70, 130, 180, 60));
    m_band->setPen(Qt::NoPen);
    m_lost->setName(tr("Lost"));
    m_lost->setMarkerShape(QScatterSeries::MarkerShapeRectangle);
    m_lost->setMarkerSize(7);
    m_lost->setColor(Qt::red);
    m_lost->setBorderColor(Qt::red);
    for (QAbstractSeries* s : std::initializer_list<QAbstractSeries*>{m_band, m_average, m_trips, m_lost})
        chart->addSeries(s);
    chart->addAxis(m_time, Qt::AlignBottom);
    chart->addAxis(m_ms, Qt::AlignLeft);
    m_ms->setTitleText(tr("ms"));
    m_ms->setLabelFormat(QStringLiteral("%.0f"));
    for (QAbstractSeries* s : chart->series()) {
        s->attachAxis(m_time);
        s->attachAxis(m_ms);
    }
}

void MonitorChart::showHop(const monitor::PathModel& model, int hop)
{
    m_model = &model;
    m_hop = hop;
    redraw();
}

void MonitorChart::roundAdded(const monitor::PathModel& model, int hop)
{
    m_model = &model;
    m_hop = hop;
    // Drawn from the event loop, apart from the table's update, at most every kRedrawMs.
    if (!m_pending.isActive())
        m_pending.start(int(std::clamp<qint64>(kRedrawMs - (m_drawnAt.isValid() ? m_drawnAt.elapsed() : kRedrawMs), 0, kRedrawMs)));
}

int MonitorChart::plotColumns() const
{
    // Before the first layout the plot has no width: take the view's.
    const int plot = int(chart()->plotArea().width());
    return std::max(100, plot > 10 ? plot : width());
}

void MonitorChart::redraw()
{
    m_pending.stop();
    m_drawnAt.start();
    if (!m_model)
        return;
    const monitor::PathModel& model = *m_model;
    const monitor::HopHistory& history = model.history(m_hop);
    const qint64 end = model.lastRoundMs();
    const qint64 span = spanMs(m_view);
    const qint64 start = span ? end - span : model.firstRoundMs();

    // The raw samples while they reach back to the view's start; else the one-minute buckets.
    const QList<monitor::HopHistory::Sample> samples = history.samples();
    const bool rawReaches = history.sampleCount() < monitor::HistoryLimits{}.rawSamples
        || (!samples.isEmpty() && samples.first().atMs <= start);
    m_fromBuckets = !rawReaches;
    QList<Slot> entries;
    if (rawReaches) {
        for (const monitor::HopHistory::Sample& s : samples) {
            if (s.atMs >= start)
                entries << (s.lost() ? Slot{s.atMs, 0, 0, 0, 1, 0} : Slot{s.atMs, s.rttMs, s.rttMs, s.rttMs, 1, 1});
        }
    } else {
        for (const monitor::HopHistory::Bucket& b : history.buckets()) {
            if (b.startMs >= start)
                entries << Slot{b.startMs, b.bestMs, b.worstMs, b.sumMs, int(b.sent), int(b.received)};
        }
    }
    const QList<Slot> shown = thinned(entries, start, end, plotColumns());
    const bool thin = shown.size() < entries.size();
    Drawing d;
    for (const Slot& s : shown)
        d.put(s);
    for (const Slot& s : thin ? thinned(entries, start, end, plotColumns() / kMarkPixels) : shown) {
        if (s.received < s.sent)
            d.lost << QPointF(double(s.atMs), 0);
    }
    // One probe's worst says little in a raw view: there the band spans the view's best to worst.
    // Elsewhere it follows the columns, coarser than the line: Qt Charts' fill of a band costs
    // far more per point than a line.
    if (rawReaches && !thin && !d.trips.isEmpty()) {
        const auto [low, high] = std::minmax_element(d.trips.cbegin(), d.trips.cend(),
                                                     [](const QPointF& a, const QPointF& b) { return a.y() < b.y(); });
        d.best = {QPointF(double(start), low->y()), QPointF(double(end), low->y())};
        d.worst = {QPointF(double(start), high->y()), QPointF(double(end), high->y())};
    } else {
        for (const Slot& s : thinned(entries, start, end, plotColumns() / kBandColumnPixels)) {
            if (s.received) {
                d.best << QPointF(double(s.atMs), s.best);
                d.worst << QPointF(double(s.atMs), s.worst);
            }
        }
    }
    // The axis changes only when the drawing outgrows it or fills less than half of it.
    const double wanted = d.top * 1.2;
    if (wanted > m_range || wanted < m_range / 2) {
        m_range = roundedUp(wanted);
        m_ms->setRange(0, m_range);
    }
    for (QPointF& p : d.lost)
        p.setY(m_range * 0.95);
    QList<QPointF> average;
    if (d.answers)
        average = {QPointF(double(start), d.sum / d.answers), QPointF(double(end), d.sum / d.answers)};

    m_trips->replace(d.trips);
    m_best->replace(d.best);
    m_worst->replace(d.worst);
    m_average->replace(average);
    if (m_lost->points() != d.lost)
        m_lost->replace(d.lost);
    const QString format = span && span <= 600'000 ? QStringLiteral("HH:mm:ss") : QStringLiteral("HH:mm");
    if (m_time->format() != format)
        m_time->setFormat(format);
    m_time->setRange(QDateTime::fromMSecsSinceEpoch(start), QDateTime::fromMSecsSinceEpoch(std::max(end, start + 1000)));
    const QString title = tr("Hop %1").arg(m_hop);
    if (chart()->title() != title)
        chart()->setTitle(title);
}

QList<QPointF> MonitorChart::roundTrips() const
{
    return m_trips->points();
}

QList<QPointF> MonitorChart::losses() const
{
    return m_lost->points();
}
