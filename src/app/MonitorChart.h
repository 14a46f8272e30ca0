#pragma once
#include <QChartView>

class QAreaSeries;
class QDateTimeAxis;
class QLineSeries;
class QScatterSeries;
class QValueAxis;
namespace monitor {
class PathModel;
}

// Round trips of one hop over time: a point per round (per minute in the longer views, where
// the rounds are more than the raw history holds), the average as a dashed line, best to worst
// as a band, and lost probes as marks along the top, never as zero. The series are refilled
// whole, once per round.
class MonitorChart final : public QChartView {
    Q_OBJECT
public:
    enum class View { LastMinute, LastTenMinutes, LastHour, Everything };

    explicit MonitorChart(QWidget* parent);

    void setView(View view) { m_view = view; }
    View view() const { return m_view; }
    void showHop(const monitor::PathModel& model, int hop);

    // What is drawn, for tests: points of the round-trip line and of the lost marks.
    QList<QPointF> roundTrips() const;
    QList<QPointF> losses() const;
    // Whether the newest drawing came from the one-minute buckets.
    bool fromBuckets() const { return m_fromBuckets; }

private:
    View m_view = View::LastTenMinutes;
    bool m_fromBuckets = false;
    QLineSeries* m_trips;
    QLineSeries* m_average;
    QLineSeries* m_best;
    QLineSeries* m_worst;
    QAreaSeries* m_band;
    QScatterSeries* m_lost;
    QDateTimeAxis* m_time;
    QValueAxis* m_ms;
};
