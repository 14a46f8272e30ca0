#include "HopStats.h"

#include <algorithm>
#include <cmath>

namespace monitor {

void HopStats::addLoss()
{
    ++m_sent;
    ++m_lossStreak;
}

void HopStats::addReply(const QHostAddress& from, double rttMs)
{
    ++m_sent;
    ++m_received;
    m_lossStreak = 0;

    const double jitter = m_received == 1 ? 0.0 : std::abs(rttMs - m_last);
    m_jitterMean += (jitter - m_jitterMean) / m_received;
    m_last = rttMs;

    const double delta = rttMs - m_mean;
    m_mean += delta / m_received;
    m_squares += delta * (rttMs - m_mean);
    m_best = m_received == 1 ? rttMs : std::min(m_best, rttMs);
    m_worst = m_received == 1 ? rttMs : std::max(m_worst, rttMs);

    for (Responder& known : m_responders) {
        if (known.address == from) {
            ++known.received;
            return;
        }
    }
    if (m_responders.size() < kMaxResponders)
        m_responders.append({from, 1});
    else
        ++m_unlisted;
}

double HopStats::lossPercent() const
{
    return m_sent == 0 ? 0.0 : 100.0 * lost() / m_sent;
}

std::optional<double> HopStats::last() const
{
    return m_received ? std::optional(m_last) : std::nullopt;
}

std::optional<double> HopStats::avg() const
{
    return m_received ? std::optional(m_mean) : std::nullopt;
}

std::optional<double> HopStats::best() const
{
    return m_received ? std::optional(m_best) : std::nullopt;
}

std::optional<double> HopStats::worst() const
{
    return m_received ? std::optional(m_worst) : std::nullopt;
}

std::optional<double> HopStats::stdev() const
{
    if (m_received == 0)
        return std::nullopt;
    // Rounding can leave M2 a hair below zero when every answer is the same.
    return m_received == 1 ? 0.0 : std::sqrt(std::max(0.0, m_squares) / (m_received - 1));
}

std::optional<double> HopStats::jitter() const
{
    return m_received ? std::optional(m_jitterMean) : std::nullopt;
}

QList<HopStats::Responder> HopStats::responders() const
{
    QList<Responder> sorted = m_responders;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const Responder& a, const Responder& b) { return a.received > b.received; });
    return sorted;
}

QHostAddress HopStats::mainResponder() const
{
    const auto most = std::max_element(m_responders.cbegin(), m_responders.cend(),
                                       [](const Responder& a, const Responder& b) { return a.received < b.received; });
    return most == m_responders.cend() ? QHostAddress() : most->address;
}

} // namespace monitor
