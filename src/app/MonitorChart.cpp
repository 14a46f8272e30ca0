#include "MonitorChart.h"

#include "monitor/PathModel.h"

#include <QAreaSeries>
#include <QDateTime>
#include <QDateTimeAxis>
#include <QLineSeries>
#include <QScatterSeries>
#include <QValueAxis>

#include <algorithm>

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

// What a view shows, gathered from raw samples or buckets alike.
struct Drawing {
    QList<QPointF> trips, lost, best, worst;
    double sum = 0;
    int answers = 0;
    double top = 1;

    void answer(qint64 atMs, double tripMs, double bestMs, double worstMs, double sumMs, int count)
    {
        trips << QPointF(double(atMs), tripMs);
        best << QPointF(double(atMs), bestMs);
        worst << QPointF(double(atMs), worstMs);
        sum += sumMs;
        answers += count;
        top = std::max(top, worstMs);
    }
};

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
    const monitor::HopHistory& history = model.history(hop);
    const qint64 end = model.lastRoundMs();
    const qint64 span = spanMs(m_view);
    const qint64 start = span ? end - span : model.firstRoundMs();

    // The raw samples while they reach back to the view's start; else the one-minute buckets.
    const QList<monitor::HopHistory::Sample> samples = history.samples();
    const bool rawReaches = history.sampleCount() < monitor::HistoryLimits{}.rawSamples
        || (!samples.isEmpty() && samples.first().atMs <= start);
    m_fromBuckets = !rawReaches;
    Drawing d;
    if (rawReaches) {
        for (const monitor::HopHistory::Sample& s : samples) {
            if (s.atMs < start)
                continue;
            if (s.lost())
                d.lost << QPointF(double(s.atMs), 0);
            else
                d.answer(s.atMs, s.rttMs, s.rttMs, s.rttMs, s.rttMs, 1);
        }
    } else {
        for (const monitor::HopHistory::Bucket& b : history.buckets()) {
            if (b.startMs < start)
                continue;
            if (b.received)
                d.answer(b.startMs, b.avgMs(), b.bestMs, b.worstMs, b.sumMs, int(b.received));
            if (b.received < b.sent)
                d.lost << QPointF(double(b.startMs), 0);
        }
    }
    // One probe's worst says little in a raw view: there the band spans the view's best to worst.
    if (rawReaches && !d.trips.isEmpty()) {
        const auto [low, high] = std::minmax_element(d.trips.cbegin(), d.trips.cend(),
                                                     [](const QPointF& a, const QPointF& b) { return a.y() < b.y(); });
        d.best = {QPointF(double(start), low->y()), QPointF(double(end), low->y())};
        d.worst = {QPointF(double(start), high->y()), QPointF(double(end), high->y())};
    }
    const double top = d.top * 1.15;
    for (QPointF& p : d.lost)
        p.setY(top);
    QList<QPointF> average;
    if (d.answers)
        average = {QPointF(double(start), d.sum / d.answers), QPointF(double(end), d.sum / d.answers)};

    m_trips->replace(d.trips);
    m_best->replace(d.best);
    m_worst->replace(d.worst);
    m_average->replace(average);
    m_lost->replace(d.lost);
    m_time->setFormat(span && span <= 600'000 ? QStringLiteral("HH:mm:ss") : QStringLiteral("HH:mm"));
    m_time->setRange(QDateTime::fromMSecsSinceEpoch(start), QDateTime::fromMSecsSinceEpoch(std::max(end, start + 1000)));
    m_ms->setRange(0, top * 1.05);
    chart()->setTitle(tr("Hop %1").arg(hop));
}

QList<QPointF> MonitorChart::roundTrips() const
{
    return m_trips->points();
}

QList<QPointF> MonitorChart::losses() const
{
    return m_lost->points();
}
