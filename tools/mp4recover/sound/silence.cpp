#include "sound/silence.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double windowSeconds = 4;
constexpr std::size_t longestHistory = 1024;

struct Estimate {
    double middle = 0;
    double spread = 0; ///< of a single distance
    double error = 0; ///< of the middle
};

double medianOf(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Neighbours are off alike where a writer is late for a while, so they count as one.
Estimate estimateOf(const std::vector<double> &distances, double leastSpread)
{
    Estimate estimate;
    estimate.middle = medianOf(distances);
    std::vector<double> deviations;
    std::size_t runs = 1;
    for (std::size_t i = 0; i < distances.size(); ++i) {
        deviations.push_back(std::abs(distances[i] - estimate.middle));
        const bool isAbove = distances[i] > estimate.middle;
        runs += i > 0 && isAbove != (distances[i - 1] > estimate.middle) ? 1U : 0U;
    }
    constexpr double perMedianDeviation = 1.48;
    estimate.spread = std::max(perMedianDeviation * medianOf(deviations), leastSpread);
    estimate.error = estimate.spread / std::sqrt(double(runs));
    return estimate;
}

} // namespace

SilenceJudge::SilenceJudge(const ClockLine &clock, int sampleRateHz)
    : m_clock(clock)
    , m_rate(sampleRateHz)
{
}

bool SilenceJudge::isPictureBetween(std::uint64_t begin, std::uint64_t end) const
{
    const auto next =
        std::lower_bound(m_clock.marks().begin(), m_clock.marks().end(), begin,
                         [](const ClockMark &mark, std::uint64_t place) { return mark.offset < place; });
    return next != m_clock.marks().end() && next->offset < end;
}

void SilenceJudge::add(const Piece &piece, bool isAfterLoss)
{
    m_isAfterLoss = m_isAfterLoss || isAfterLoss;
    m_windowSamples += double(piece.samples);
    const bool isApart = isPictureBetween(m_end, piece.stretch.offset);
    m_end = piece.stretch.end();
    if (!m_clock.isUsable() || piece.isFaulty)
        return;
    // At its end: a camera that writes a second's pictures and then its sound is in step there.
    const double distance = m_clock.at(piece.stretch.end()) - (m_position + m_windowSamples) / m_rate;
    if (isApart || m_distances.empty())
        m_distances.push_back(distance);
    else
        m_distances.back() = distance;
}

bool SilenceJudge::isReady() const { return m_windowSamples >= windowSeconds * m_rate; }

double SilenceJudge::missingSeconds()
{
    const Estimate history = m_history.empty() ? Estimate{} : estimateOf(m_history, 0);
    const Estimate window = estimateOf(m_distances, history.spread);
    double shift = window.middle - history.middle;
    // A camera may be late with all of its sound, but not so much that its beginning seems lost.
    constexpr double noticeableSeconds = 0.5;
    if (m_history.empty() && !m_isAfterLoss && shift <= noticeableSeconds + 2 * window.spread)
        return 0;
    constexpr double leastSeconds = 0.04;
    const double limit = m_isAfterLoss ? std::max(leastSeconds, 2 * std::hypot(window.error, history.error))
                                       : 0.4 + 2 * window.spread;
    if (!m_isAfterLoss)
        shift = std::max(shift, 0.0);
    return std::abs(shift) > limit ? shift : 0;
}

void SilenceJudge::remember(double shift)
{
    for (const double distance : m_distances)
        m_history.push_back(distance - shift);
    if (m_history.size() > longestHistory)
        m_history.erase(m_history.begin(), m_history.end() - static_cast<std::ptrdiff_t>(longestHistory));
}

std::int64_t SilenceJudge::close()
{
    constexpr double longestSeconds = 24 * 3600;
    const double missing =
        m_distances.empty() ? 0 : std::clamp(missingSeconds(), -m_windowSamples / m_rate, longestSeconds);
    if (m_windowSamples > 0)
        remember(missing);
    const auto silence = std::llround(missing * m_rate);
    m_position += m_windowSamples + double(silence);
    m_windowSamples = 0;
    m_distances.clear();
    m_isAfterLoss = false;
    return silence;
}
