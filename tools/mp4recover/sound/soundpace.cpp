#include "sound/soundpace.h"

#include <algorithm>
#include <cmath>

namespace {

struct Mean {
    double seconds = 0;
    double amount = 0;
    std::size_t count = 0;
};

} // namespace

PaceMeter::PaceMeter(const ClockLine &clock)
    : m_clock(clock)
{
}

void PaceMeter::add(std::uint64_t offset, double amount, bool isAfterLoss)
{
    if (!m_clock.isUsable() || offset < m_clock.marks().front().offset)
        return;
    m_part += isAfterLoss ? 1 : 0;
    m_readings.push_back({m_clock.at(offset), amount, m_part});
}

Pace PaceMeter::pace() const
{
    const Pace slope = sloped();
    const Pace whole = total();
    if (slope.perSecond <= 0 || whole.perSecond <= 0)
        return slope.perSecond > 0 ? slope : whole;
    return slope.uncertainty < whole.uncertainty ? slope : whole;
}

/// Of the straight lines of one slope through the readings of each part.
Pace PaceMeter::sloped() const
{
    std::vector<Mean> means(m_part + 1);
    for (const Reading &reading : m_readings) {
        Mean &mean = means[reading.part];
        ++mean.count;
        mean.seconds += (reading.seconds - mean.seconds) / double(mean.count);
        mean.amount += (reading.amount - mean.amount) / double(mean.count);
    }
    double squares = 0;
    double products = 0;
    for (const Reading &reading : m_readings) {
        const double seconds = reading.seconds - means[reading.part].seconds;
        squares += seconds * seconds;
        products += seconds * (reading.amount - means[reading.part].amount);
    }
    constexpr double leastSquares = 0.05;
    if (squares < leastSquares || products <= 0)
        return {};
    const double slope = products / squares;
    double residuals = 0;
    std::size_t runs = 0;
    bool wasAbove = false;
    for (const Reading &reading : m_readings) {
        const Mean &mean = means[reading.part];
        const double off = (reading.amount - mean.amount) / slope - (reading.seconds - mean.seconds);
        residuals += off * off;
        runs += runs == 0 || (off > 0) != wasAbove ? 1U : 0U;
        wasAbove = off > 0;
    }
    // Where the clock shows frames, it isn't better than a part of one.
    constexpr double leastSpread = 0.015;
    const double count = double(m_readings.size());
    const double spread = std::max(std::sqrt(residuals / count), leastSpread);
    const double effective = std::clamp(double(runs), 1.0, count);
    return {slope, spread / std::sqrt(squares) * std::sqrt(count / effective)};
}

/// All of it by all the time that passed.
Pace PaceMeter::total() const
{
    constexpr double unknownSeconds = 0.25; // by which sound and pictures may end apart
    constexpr double unknownPerLoss = 0.3;
    if (m_readings.empty())
        return {};
    const double seconds = m_clock.marks().back().seconds;
    if (seconds <= unknownSeconds)
        return {};
    return {m_readings.back().amount / seconds, (unknownSeconds + unknownPerLoss * double(m_part)) / seconds};
}
