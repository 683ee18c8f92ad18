#include "time/rates.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace {

/// Rates that cameras have.
constexpr std::array usualRates{Rate{10, 1}, Rate{12, 1},       Rate{15, 1},      Rate{20, 1},
                                Rate{24, 1}, Rate{25, 1},       Rate{55, 2},      Rate{30000, 1001},
                                Rate{30, 1}, Rate{45, 1},       Rate{50, 1},      Rate{60000, 1001},
                                Rate{60, 1}, Rate{24000, 1001}, Rate{15000, 1001}};

/// A straight line through all segments: one slope, each with a start of its own.
struct Fit {
    double rate = 0; ///< frames a second; 0: too few readings
    double error = 0; ///< standard error of the rate
};

Fit fitRate(const std::vector<FrameReading> &readings)
{
    double squares = 0;
    double products = 0;
    double frameSquares = 0;
    std::size_t steps = 0;
    std::size_t segments = 0;
    for (std::size_t begin = 0; begin < readings.size();) {
        std::size_t end = begin;
        double seconds = 0;
        double frames = 0;
        for (; end < readings.size() && readings[end].segment == readings[begin].segment; ++end) {
            seconds += readings[end].seconds;
            frames += readings[end].frames;
            steps += end > begin && readings[end].frames > readings[end - 1].frames ? 1 : 0;
        }
        const auto size = double(end - begin);
        segments += end - begin > 1 ? 1 : 0;
        for (std::size_t i = begin; i < end; ++i) {
            const double x = readings[i].seconds - seconds / size;
            const double y = readings[i].frames - frames / size;
            squares += x * x;
            products += x * y;
            frameSquares += y * y;
        }
        begin = end;
    }
    Fit fit;
    if (squares < 0.1 || products <= 0 || steps < 2)
        return fit;
    fit.rate = products / squares;
    const auto size = double(readings.size());
    // Of whole frames; and a writer that falls behind in the course of a segment tilts it as a whole.
    constexpr double countingError = 0.3;
    constexpr double tilt = 2;
    const double rest = std::max(0.0, frameSquares - fit.rate * products);
    const double spread = std::max(countingError, std::sqrt(rest / size));
    const double usualSpan = std::sqrt(12 * squares / size);
    fit.error = spread / std::sqrt(squares) + tilt * spread / (usualSpan * std::sqrt(double(segments)));
    return fit;
}

Rate asRate(double value)
{
    for (const Rate &usual : usualRates)
        if (std::abs(usual.value() - value) < 1e-4 * value)
            return usual;
    constexpr int thousandths = 1000;
    const double bounded = std::clamp(value, 0.1, 1000.0);
    const double scaled = std::round(bounded * thousandths);
    return {static_cast<int>(scaled), thousandths};
}

/// A rate that may be the true one, and how little it would be expected.
struct Candidate {
    double rate = 0;
    double doubt = 0; ///< as a squared number of standard errors
};

std::vector<Candidate> candidatesOf(double inSets, double requested)
{
    // The request is rounded from the truth; encoders say in their sets what they were set up with at first.
    const auto fits = [requested](double rate) { return requested <= 0 || std::abs(rate - requested) < 1; };
    const bool isUsual = std::any_of(usualRates.begin(), usualRates.end(), [requested](const Rate &usual) {
        return std::abs(usual.value() - requested) < 1e-6;
    });
    const bool isToldTwice = requested > 0 && inSets > 0 && fits(inSets);
    const double strange = isToldTwice ? 9 : 5;
    std::vector<Candidate> candidates;
    if (inSets > 0)
        candidates.push_back({inSets, fits(inSets) ? 0.0 : 4.0});
    if (requested > 0)
        candidates.push_back({requested, isUsual ? 1.0 : 3.0});
    for (const Rate &usual : usualRates)
        candidates.push_back({usual.value(), requested <= 0 ? 2.5 : fits(usual.value()) ? 1.5 : strange});
    return candidates;
}

} // namespace

Rate chooseRate(const std::vector<FrameReading> &readings, const RateHints &hints)
{
    const double requested = hints.requested > 0 && hints.requested <= 1000 ? hints.requested : 0;
    const double inSets = hints.inSets >= 1 && hints.inSets <= 1000 ? hints.inSets : 0;
    std::vector<Candidate> candidates = candidatesOf(inSets, requested);
    const Fit fit = fitRate(readings);
    if (fit.rate <= 0) {
        if (requested <= 0 && inSets <= 0)
            return {};
    } else {
        candidates.push_back({fit.rate, 16});
    }
    constexpr double clockTolerance = 3e-5;
    const double error = std::max(fit.error, clockTolerance * fit.rate);
    Candidate best;
    double bestCost = std::numeric_limits<double>::max();
    for (const Candidate &candidate : candidates) {
        const double distance = fit.rate > 0 ? (candidate.rate - fit.rate) / error : 0;
        const double cost = distance * distance + candidate.doubt;
        if (cost < bestCost) {
            best = candidate;
            bestCost = cost;
        }
    }
    return asRate(best.rate);
}
