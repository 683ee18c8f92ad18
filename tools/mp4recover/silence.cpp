#include "silence.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double windowSeconds = 2;

double medianOf(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

SilenceJudge::SilenceJudge(const ClockLine &clock, int sampleRateHz)
    : m_clock(clock)
    , m_rate(sampleRateHz)
{
}

void SilenceJudge::add(const Piece &piece, bool isAfterLoss)
{
    m_isAfterLoss = m_isAfterLoss || isAfterLoss;
    m_windowSamples += double(piece.samples);
    // At its end: a camera that writes a second's pictures and then its sound is in step there.
    if (m_clock.isUsable())
        m_distances.push_back(m_clock.at(piece.stretch.end()) - (m_position + m_windowSamples) / m_rate);
}

bool SilenceJudge::isReady() const { return m_windowSamples >= windowSeconds * m_rate; }

std::int64_t SilenceJudge::close()
{
    double missing = 0;
    if (!m_distances.empty()) {
        const double distance = medianOf(m_distances);
        std::vector<double> deviations;
        for (const double value : m_distances)
            deviations.push_back(std::abs(value - distance));
        m_spread = std::max(m_spread, medianOf(deviations));
        if (m_isFirst) {
            // Sound whose beginning is lost begins with silence.
            constexpr double noticeableSeconds = 0.5;
            m_zero = distance > noticeableSeconds + 2 * m_spread ? 0 : distance;
        }
        const double limit = m_isAfterLoss || m_isFirst ? std::max(0.06, m_spread) : 0.4 + 2 * m_spread;
        if (distance - m_zero > limit)
            missing = distance - m_zero;
    }
    constexpr double longestSeconds = 24 * 3600;
    const auto silence = std::llround(std::min(missing, longestSeconds) * m_rate);
    m_position += m_windowSamples + double(silence);
    m_windowSamples = 0;
    m_distances.clear();
    m_isAfterLoss = false;
    m_isFirst = false;
    return silence;
}
