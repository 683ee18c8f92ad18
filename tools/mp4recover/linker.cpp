#include "linker.h"

#include <algorithm>
#include <numeric>

namespace {

/// Channels that were asked for alike are numbered by the ids of their parameter sets, if these differ.
void orderById(const AccessUnits &found, const std::vector<ChannelRequest> &requests,
               std::vector<std::uint8_t> &channels)
{
    constexpr int unknown = -1;
    std::vector<int> ids(requests.size(), unknown);
    for (std::size_t i = 0; i < channels.size(); ++i) {
        if (channels[i] != noChannel && ids[channels[i]] == unknown)
            ids[channels[i]] = found.pictures[i].slice.pictureSetId;
    }
    std::vector<std::uint8_t> places(requests.size());
    std::iota(places.begin(), places.end(), std::uint8_t{0});
    const auto isAlike = [&](std::size_t a, std::size_t b) {
        return requests[a].width == requests[b].width && requests[a].height == requests[b].height
            && requests[a].framesPerSecond == requests[b].framesPerSecond && ids[a] != unknown
            && ids[b] != unknown;
    };
    for (std::size_t i = 0; i < ids.size(); ++i) {
        for (std::size_t j = i + 1; j < ids.size(); ++j) {
            if (isAlike(i, j) && ids[j] < ids[i]) {
                std::swap(ids[i], ids[j]);
                std::swap(places[i], places[j]);
            }
        }
    }
    std::vector<std::uint8_t> numbers(requests.size());
    for (std::size_t i = 0; i < places.size(); ++i)
        numbers[places[i]] = static_cast<std::uint8_t>(i);
    for (std::uint8_t &channel : channels)
        channel = channel == noChannel ? channel : numbers[channel];
}

/// The picture sizes that parameter sets tell of, in the order of the file.
std::vector<ChannelRequest> sizesOf(const AccessUnits &found, std::size_t most)
{
    std::vector<ChannelRequest> sizes;
    for (const SetGroup &group : found.sets) {
        const bool isKnown = std::any_of(sizes.begin(), sizes.end(), [&](const ChannelRequest &size) {
            return size.width == group.width && size.height == group.height;
        });
        if (group.width > 0 && !isKnown && sizes.size() < most)
            sizes.push_back({group.width, group.height, 0});
    }
    return sizes;
}

class Linking
{
public:
    explicit Linking(const LinkInput &input)
        : m_input(input)
        , m_habits(input.channels)
    {
        if (input.codec == VideoCodec::H265)
            m_habits.usualDistances = nearestDistancesOf(input.found, input.channels.size(), input.traits);
    }

    Links run()
    {
        const std::size_t count = m_input.found.pictures.size();
        if (m_input.channels.size() == 1)
            return link({}, count);
        const Hypothesis best = choose(std::min(count, trialPictures));
        if (!m_input.traits.empty())
            return refine(best);
        return count > trialPictures || best.order == Order::Turns ? link(best, count) : m_best;
    }

private:
    static constexpr std::size_t trialPictures = 6000;

    [[nodiscard]] Links link(const Hypothesis &hypothesis, std::size_t count) const
    {
        return followPictures(m_input, m_habits, hypothesis, count);
    }

    /// The better the assignment, the more the neighbours in it are alike.
    Links refine(const Hypothesis &hypothesis)
    {
        constexpr int turns = 3;
        Links links = link(hypothesis, m_input.found.pictures.size());
        if (m_input.codec == VideoCodec::H265)
            return links;
        for (int i = 1; i < turns; ++i) {
            m_habits.usualDistances = usualDistancesOf(m_input.found, links.channels, m_input.traits);
            links = link(hypothesis, m_input.found.pictures.size());
        }
        return links;
    }

    /// Tries the orders on the first pictures and learns the habits of channels that take turns.
    Hypothesis choose(std::size_t count)
    {
        Hypothesis best;
        m_best = link(best, count);
        m_habits.turnCost = habitsOf(m_input.found, m_best.channels, m_input.channels).turnCost;
        if (Links links = link(best, count); links.cost < m_best.cost)
            m_best = std::move(links);
        m_habits.turnCost = Habits(m_input.channels).turnCost;
        const auto offer = [&](const Hypothesis &hypothesis, Links links) {
            // Turns in step look like runs of two as well.
            const double lead = best.order == Order::Turns ? 5 + 0.05 * static_cast<double>(count) : 0;
            if (links.cost + lead < m_best.cost) {
                m_best = std::move(links);
                best = hypothesis;
            }
        };
        const Hypothesis runs{Order::Runs, {}};
        Links links = link(runs, count);
        const std::vector<double> durations =
            runDurations(m_input.found, links.channels, m_habits, m_input.losses);
        offer(runs, std::move(links));
        for (const double duration : durations) {
            Hypothesis equalRuns{Order::EqualRuns, {}};
            for (std::size_t i = 0; i < m_input.channels.size(); ++i)
                equalRuns.runLengths[i] = static_cast<float>(duration * m_habits.rates[i]);
            offer(equalRuns, link(equalRuns, count));
        }
        const auto usualDistances = m_input.codec == VideoCodec::H265
            ? m_habits.usualDistances
            : usualDistancesOf(m_input.found, m_best.channels, m_input.traits);
        if (best.order == Order::Turns)
            m_habits = habitsOf(m_input.found, m_best.channels, m_input.channels);
        m_habits.usualDistances = usualDistances;
        return best;
    }

    const LinkInput &m_input;
    Habits m_habits;
    Links m_best;
};

} // namespace

Links linkChannels(VideoCodec codec, const AccessUnits &found, const std::vector<ChannelRequest> &channels,
                   const std::vector<Span> &losses, const std::vector<PictureTraits> &traits)
{
    if (channels.empty() || found.pictures.empty())
        return {std::vector<std::uint8_t>(found.pictures.size(), noChannel), 0, {}};
    Links links = Linking({codec, found, channels, losses, traits}).run();
    orderById(found, channels, links.channels);
    return links;
}

std::vector<bool> doubtfulPictures(const AccessUnits &found, const Links &links,
                                   const std::vector<ChannelRequest> &channels,
                                   const std::vector<Span> &losses)
{
    constexpr std::size_t mostPictures = 8000; // decoding them takes a minute
    constexpr std::size_t aroundLoss = 12; // of each channel
    const std::size_t count = found.pictures.size();
    const std::size_t passedOver = countPassedOver(links.channels, channels.size());
    if (channels.size() < 2 || count == 0)
        return {};
    std::vector<bool> doubtful(count, false);
    if (passedOver > losses.size() + 2 && passedOver * 100 > count) {
        std::fill_n(doubtful.begin(), std::min(count, mostPictures), true);
        return doubtful;
    }
    const std::size_t reach = aroundLoss * channels.size();
    const std::uint64_t usualSize = (found.pictures.back().end - found.pictures.front().offset) / count;
    std::size_t total = 0;
    for (const std::uint32_t parting : links.partings) {
        const std::size_t first = parting - std::min<std::size_t>(parting, reach);
        const std::size_t last = std::min(count, parting + reach);
        total += last - first;
        if (total > mostPictures)
            break;
        std::fill(doubtful.begin() + static_cast<std::ptrdiff_t>(first),
                  doubtful.begin() + static_cast<std::ptrdiff_t>(last), true);
    }
    for (const Span &loss : losses) {
        // It's clear whose turn it was where only a picture or two are lost.
        if (loss.size < 3 * usualSize || loss.offset > found.pictures.back().offset)
            continue;
        const auto isBefore = [](const AccessUnit &picture, std::uint64_t place) {
            return picture.offset < place;
        };
        const auto next =
            std::lower_bound(found.pictures.begin(), found.pictures.end(), loss.end(), isBefore);
        const auto middle = static_cast<std::size_t>(next - found.pictures.begin());
        std::size_t first = middle - std::min(middle, reach);
        for (std::size_t keys = 0; first > 0 && keys < channels.size(); --first)
            keys += found.pictures[first].slice.isSync ? 1U : 0U;
        const std::size_t last = std::min(count, middle + reach);
        total += last - first;
        if (total > mostPictures)
            break;
        std::fill(doubtful.begin() + static_cast<std::ptrdiff_t>(first),
                  doubtful.begin() + static_cast<std::ptrdiff_t>(last), true);
    }
    return total > 0 ? doubtful : std::vector<bool>{};
}

std::vector<ChannelRequest> guessChannels(VideoCodec codec, const AccessUnits &found,
                                          const std::vector<Span> &losses)
{
    constexpr std::size_t mostGuessed = 5;
    constexpr double worthAnother = 0.5; // per picture
    constexpr std::size_t enoughPictures = 2000;
    AccessUnits first;
    first.sets = found.sets;
    first.pictures.assign(found.pictures.begin(),
                          found.pictures.begin()
                              + static_cast<std::ptrdiff_t>(std::min(found.pictures.size(), enoughPictures)));
    std::vector<ChannelRequest> channels = sizesOf(found, mostGuessed);
    // The main camera is written first and has the largest pictures.
    const bool isBeginLost = !losses.empty() && !first.pictures.empty()
        && losses.front().offset
            < first.pictures[std::min(first.pictures.size() - 1, channels.size())].offset;
    if (isBeginLost)
        std::stable_sort(channels.begin(), channels.end(),
                         [](const ChannelRequest &a, const ChannelRequest &b) {
                             return a.width * a.height > b.width * b.height;
                         });
    if (channels.empty())
        channels.emplace_back();
    double cost = linkChannels(codec, first, channels, losses).cost;
    while (channels.size() < mostGuessed) {
        std::vector<ChannelRequest> best;
        double bestCost = cost - worthAnother * static_cast<double>(first.pictures.size());
        for (std::size_t i = 0; i < channels.size(); ++i) {
            if (i > 0 && channels[i].width == channels[i - 1].width
                && channels[i].height == channels[i - 1].height)
                continue;
            std::vector<ChannelRequest> more = channels;
            more.insert(more.begin() + static_cast<std::ptrdiff_t>(i), channels[i]);
            const double moreCost = linkChannels(codec, first, more, losses).cost;
            if (moreCost < bestCost) {
                bestCost = moreCost;
                best = std::move(more);
            }
        }
        if (best.empty())
            break;
        channels = std::move(best);
        cost = bestCost;
    }
    return channels;
}
