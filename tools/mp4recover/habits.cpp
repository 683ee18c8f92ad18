#include "habits.h"

namespace {

constexpr double leastTurnCost = 0.5;
constexpr double mostTurnCost = 24;
constexpr double sizesDependOnEachOther = 3;

/// Seconds, of those that no loss begins, ends or interrupts.
std::vector<double> wholeRuns(const AccessUnits &found, const std::vector<std::uint8_t> &channels,
                              const Habits &habits, const std::vector<Span> &losses)
{
    std::vector<double> durations;
    std::uint8_t last = noChannel;
    std::uint32_t length = 0;
    bool isWhole = true;
    auto loss = losses.begin();
    for (std::size_t i = 0; i < channels.size(); ++i) {
        bool isBehindLoss = false;
        for (; loss != losses.end() && loss->offset < found.pictures[i].offset; ++loss)
            isBehindLoss = true;
        isWhole = isWhole && !isBehindLoss;
        if (channels[i] == noChannel)
            continue;
        if (channels[i] != last) {
            if (last != noChannel && isWhole)
                durations.push_back(length / habits.rates[last]);
            last = channels[i];
            length = 0;
            isWhole = !isBehindLoss;
        }
        ++length;
    }
    return durations;
}

/// Runs of a fixed time hold now one picture more, now one less.
double meanAbout(double middle, double slack, const std::vector<double> &durations)
{
    double sum = 0;
    double count = 0;
    for (const double duration : durations) {
        if (std::abs(duration - middle) < slack) {
            sum += duration;
            ++count;
        }
    }
    return count == 0 ? middle : sum / count;
}

} // namespace

std::size_t sizeClass(const AccessUnit &picture)
{
    return picture.slice.isSync ? 0 : picture.slice.isReference ? 1 : 2;
}

double logSize(const AccessUnit &picture)
{
    return std::log2(static_cast<double>(picture.end - picture.offset));
}
std::vector<double> runDurations(const AccessUnits &found, const std::vector<std::uint8_t> &channels,
                                 const Habits &habits, const std::vector<Span> &losses)
{
    std::vector<double> durations = wholeRuns(found, channels, habits, losses);
    if (durations.empty())
        return {};
    std::sort(durations.begin(), durations.end());
    const double period = 1 / *std::min_element(habits.rates.begin(), habits.rates.end());
    const double slack = 1.01 * period;
    const double usual = meanAbout(durations[durations.size() / 2], slack, durations);
    const double longest = meanAbout(durations.back(), slack, durations);
    std::vector<double> result;
    // A few turns of one channel in succession look like one long run.
    for (const double candidate : {usual, usual / 2, usual / 3, longest}) {
        const bool isKnown = std::any_of(result.begin(), result.end(), [&](double other) {
            return std::abs(other - candidate) < 0.1 * period;
        });
        if (candidate > 1.5 / habits.rates[0] && !isKnown)
            result.push_back(candidate);
    }
    return result;
}

std::size_t countPassedOver(const std::vector<std::uint8_t> &channels, std::size_t channelCount)
{
    std::vector<std::size_t> served(channelCount, 0);
    std::size_t count = 0;
    for (std::size_t i = 0; i < channels.size(); ++i) {
        if (channels[i] == noChannel)
            continue;
        const std::size_t own = served[channels[i]];
        count += static_cast<std::size_t>(
            std::count_if(served.begin(), served.end(), [own](std::size_t other) { return other < own; }));
        served[channels[i]] = i + 1;
    }
    return count;
}

std::array<double, 3> usualDistancesOf(const AccessUnits &found, const std::vector<std::uint8_t> &channels,
                                       const std::vector<PictureTraits> &traits)
{
    std::array<std::array<std::uint32_t, 3>, maximumChannels> last{};
    std::array<std::vector<double>, 3> distances;
    for (std::uint32_t i = 0; i < channels.size() && i < traits.size(); ++i) {
        if (channels[i] == noChannel || !traits[i].isKnown)
            continue;
        const std::size_t kind = sizeClass(found.pictures[i]);
        std::uint32_t &before = last[channels[i]][kind];
        if (before > 0)
            distances[kind].push_back(distance(traits[before - 1], traits[i]));
        before = i + 1;
    }
    std::array<double, 3> usual{};
    for (std::size_t kind = 0; kind < usual.size(); ++kind) {
        if (distances[kind].empty())
            continue;
        // Where many neighbours aren't of one channel the smaller distances are the right ones.
        const auto third = distances[kind].begin() + static_cast<std::ptrdiff_t>(distances[kind].size() / 3);
        std::nth_element(distances[kind].begin(), third, distances[kind].end());
        usual[kind] = std::max(1.0, *third);
    }
    return usual;
}

std::array<double, sizeClassCount> nearestDistancesOf(const AccessUnits &found, std::size_t channelCount,
                                                      const std::vector<PictureTraits> &traits)
{
    std::array<std::vector<double>, sizeClassCount> distances;
    std::array<std::vector<std::size_t>, sizeClassCount> before;
    for (std::size_t i = 0; i < traits.size(); ++i) {
        if (!traits[i].isKnown)
            continue;
        std::vector<std::size_t> &own = before[sizeClass(found.pictures[i])];
        if (own.size() >= channelCount) {
            double nearest = distance(traits[own.front()], traits[i]);
            for (const std::size_t other : own)
                nearest = std::min(nearest, distance(traits[other], traits[i]));
            distances[sizeClass(found.pictures[i])].push_back(nearest);
        }
        own.push_back(i);
        if (own.size() > 2 * channelCount)
            own.erase(own.begin());
    }
    std::array<double, sizeClassCount> usual{};
    for (std::size_t kind = 0; kind < usual.size(); ++kind) {
        if (distances[kind].empty())
            continue;
        const auto middle = distances[kind].begin() + static_cast<std::ptrdiff_t>(distances[kind].size() / 2);
        std::nth_element(distances[kind].begin(), middle, distances[kind].end());
        usual[kind] = std::max(1.0, *middle);
    }
    return usual;
}

Habits habitsOf(const AccessUnits &found, const std::vector<std::uint8_t> &channels,
                const std::vector<ChannelRequest> &requests)
{
    const std::size_t channelCount = requests.size();
    std::vector<std::array<SizeModel, 3>> models(channelCount);
    std::array<double, 3> squares{};
    std::array<std::size_t, 3> counts{};
    const std::size_t passedOver = countPassedOver(channels, channelCount);
    for (std::size_t i = 0; i < channels.size(); ++i) {
        if (channels[i] == noChannel)
            continue;
        const std::uint8_t channel = channels[i];
        const std::size_t kind = sizeClass(found.pictures[i]);
        const double size = logSize(found.pictures[i]);
        const double deviation = models[channel][kind].deviation(size);
        squares[kind] += deviation * deviation;
        ++counts[kind];
        models[channel][kind].learn(size);
    }
    Habits habits(requests);
    if (std::all_of(habits.rates.begin(), habits.rates.end(),
                    [&](double rate) { return rate == habits.rates[0]; }))
        habits.turnCost = std::clamp(-sizesDependOnEachOther
                                         * std::log((static_cast<double>(passedOver) + 0.5)
                                                    / (static_cast<double>(channels.size()) + 1)),
                                     leastTurnCost, mostTurnCost);
    for (std::size_t kind = 0; kind < counts.size(); ++kind) {
        constexpr std::size_t fewest = 20;
        constexpr double caution = 2; // sizes of neighbouring pictures depend on each other
        constexpr double leastVariance = 0.05;
        if (counts[kind] >= fewest)
            habits.sizeVariances[kind] =
                caution * std::max(leastVariance, squares[kind] / static_cast<double>(counts[kind]));
    }
    return habits;
}
