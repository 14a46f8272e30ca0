#pragma once
#include <QChartView>
#include <QElapsedTimer>
#include <QTimer>

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
// as a band, and lost probes as marks along the top, never as zero. A view with more points than
// the plot has pixel columns is thinned to one point (best, average, worst, any loss) a column.
// Rounds are drawn at most every kRedrawMs, apart from the table's update: each series is
// replaced once a drawing (Qt Charts lays a whole series out again on any change).
class MonitorChart final : public QChartView {
    Q_OBJECT
public:
    enum class View { LastMinute, LastTenMinutes, LastHour, Everything };

    static constexpr int kRedrawMs = 250;

    explicit MonitorChart(QWidget* parent);

    void setView(View view) { m_view = view; }
    View view() const { return m_view; }
    // Draws a hop of the model now (a row or a view was picked). The model must outlive the chart.
    void showHop(const monitor::PathModel& model, int hop);
    // A round was added: drawn within kRedrawMs, with any rounds after it.
    void roundAdded(const monitor::PathModel& model, int hop);

    // What is drawn, for tests: points of the round-trip line and of the lost marks.
    QList<QPointF> roundTrips() const;
    QList<QPointF> losses() const;
    // Whether the newest drawing came from the one-minute buckets.
    bool fromBuckets() const { return m_fromBuckets; }

private:
    void redraw();
    int plotColumns() const;

    View m_view = View::LastTenMinutes;
    bool m_fromBuckets = false;
    const monitor::PathModel* m_model = nullptr;
    int m_hop = 0;
    QTimer m_pending;
    QElapsedTimer m_drawnAt;
    double m_range = 0;   // the round-trip axis's top, kept while the drawing fits under it
    QLineSeries* m_trips;
    QLineSeries* m_average;
    QLineSeries* m_best;
    QLineSeries* m_worst;
    QAreaSeries* m_band;
    QScatterSeries* m_lost;
    QDateTimeAxis* m_time;
    QValueAxis* m_ms;
};
