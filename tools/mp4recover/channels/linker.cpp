#include "channels/linker.h"

#include "channels/channelstate.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

constexpr int noise = 12; ///< faults of a picture that nothing else supports
// By how much one assignment must fit better than another: to doubt that turns are kept, and where they
// aren't.
constexpr double surely = 0.35;
constexpr double likely = 0.05;
constexpr std::uint32_t asked = 5; ///< pictures of each channel that show whether they take turns
constexpr std::size_t stretches = 6; ///< so often in a recording

class Linking
{
public:
    Linking(VideoCodec codec, const AccessUnits &found, const std::vector<ChannelRequest> &requests,
            const std::vector<Span> &losses, Asking asking, CameraTrial *trial)
        : m_found(found)
        , m_losses(losses)
        , m_asking(trial ? asking : Asking::Nothing)
        , m_trial(trial)
    {
        const int bits = counterBitsOf(codec, found, requests.size());
        const Numbering numbering(codec, bits, reorderStepOf(codec, found, bits, requests.size()));
        for (const ChannelRequest &request : requests)
            m_channels.emplace_back(request, numbering);
        m_links.channels.assign(found.pictures.size(), noChannel);
        m_isDecided.assign(found.pictures.size(), false);
    }

    Links run()
    {
        for (std::uint32_t i = 0; i < m_found.pictures.size(); ++i)
            take(i);
        return std::move(m_links);
    }

private:
    using Indexes = std::vector<std::uint8_t>;

    void take(std::uint32_t index)
    {
        const AccessUnit &picture = m_found.pictures[index];
        if (passLosses(picture)) {
            m_lossAt = index;
            m_unsureUntil = index + 3 * static_cast<std::uint32_t>(m_channels.size());
        }
        if (!m_isDecided[index])
            decide(index, picture);
        const std::uint8_t channel = m_links.channels[index];
        if (channel != noChannel)
            m_channels[channel].add(index, picture);
    }

    void decide(std::uint32_t index, const AccessUnit &picture)
    {
        const std::vector<int> faults = faultsOf(picture, m_channels);
        const int least = *std::min_element(faults.begin(), faults.end());
        const bool isBehindLoss = index < m_unsureUntil;
        if (least == ChannelState::impossible || (least >= noise && !picture.isSupported && !isBehindLoss))
            return;
        m_links.faults += least;
        Indexes fitting = channelsWith(faults, least);
        // Behind a loss a picture could as well be the first of a channel that lost some.
        bool isAlone = false;
        for (std::uint8_t i = 0; isBehindLoss && i < m_channels.size(); ++i)
            if (m_channels[i].served() <= m_lossAt && faults[i] > least
                && faults[i] < ChannelState::otherPictureSet) {
                fitting.push_back(i);
                isAlone = true;
            }
        m_links.channels[index] = longestWaiting(channelsWith(faults, least));
        if (fitting.size() < 2) {
            const bool isOutOfTurn = !isBehindLoss && m_links.channels[index] != longestWaiting(all());
            m_links.outOfTurn += isOutOfTurn || (least >= noise / 3 && !isBehindLoss) ? 1U : 0U;
            return;
        }
        if (isBehindLoss)
            ++m_links.doubtful;
        else
            m_links.ties.push_back(index);
        if (isAsked(index, isBehindLoss))
            ask(index, fitting, least, isAlone);
    }

    static Indexes channelsWith(const std::vector<int> &faults, int most)
    {
        Indexes indexes;
        for (std::uint8_t i = 0; i < faults.size(); ++i)
            if (faults[i] <= most)
                indexes.push_back(i);
        return indexes;
    }

    [[nodiscard]] Indexes all() const
    {
        Indexes indexes(m_channels.size());
        std::iota(indexes.begin(), indexes.end(), std::uint8_t{0});
        return indexes;
    }

    [[nodiscard]] std::uint8_t longestWaiting(const Indexes &channels) const
    {
        return *std::min_element(channels.begin(), channels.end(), [this](std::uint8_t a, std::uint8_t b) {
            return m_channels[a].served() < m_channels[b].served();
        });
    }

    [[nodiscard]] bool isAsked(std::uint32_t index, bool isBehindLoss)
    {
        switch (m_asking) {
        case Asking::Nothing: return false;
        case Asking::BehindLosses: return isBehindLoss;
        case Asking::All: return true;
        case Asking::Some: break;
        }
        // The first pictures of some groups: that is quickly decoded. Which key picture is whose doesn't
        // matter then.
        const std::size_t place = m_channels[m_links.channels[index]].group().size();
        if (m_found.pictures[index].slice.isSync && index >= m_nextAsked) {
            m_askedUntil = index + asked * static_cast<std::uint32_t>(m_channels.size());
            m_nextAsked = index + static_cast<std::uint32_t>(m_found.pictures.size() / stretches);
        }
        const bool isDue = index < m_askedUntil && place <= asked && !m_found.pictures[index].slice.isSync;
        return isBehindLoss || isDue;
    }

    /// Decodes this picture and those that the same channels could have got with it.
    void ask(std::uint32_t index, const Indexes &channels, int faults, bool isAlone)
    {
        const std::vector<std::uint32_t> window =
            isAlone ? std::vector{index} : windowFrom(index, channels, faults);
        std::vector<Camera> cameras;
        for (const std::uint8_t channel : channels)
            cameras.push_back({channel, &m_channels[channel].group()});
        const auto verdict = m_trial->assign(window, cameras, m_asking == Asking::Some ? surely : likely);
        if (!verdict)
            return;
        if (m_asking == Asking::Some && index >= m_unsureUntil) {
            m_links.contradictions += verdict->front() == m_links.channels[index] ? 0U : 1U;
            ++m_links.answers;
        }
        for (std::size_t i = 0; i < window.size(); ++i) {
            m_links.channels[window[i]] = (*verdict)[i];
            m_isDecided[window[i]] = true;
        }
    }

    /// One for each channel, as far as they come next. Pictures that are surely others' may stand between.
    [[nodiscard]] std::vector<std::uint32_t> windowFrom(std::uint32_t index, const Indexes &channels,
                                                        int faultsOfFirst) const
    {
        std::vector<std::uint32_t> window{index};
        std::vector<ChannelState> states = m_channels;
        const auto end = std::min<std::size_t>(m_found.pictures.size(), index + 3 * m_channels.size());
        for (auto next = index + 1; next < end && window.size() < channels.size(); ++next) {
            const AccessUnit &picture = m_found.pictures[next];
            if (m_nextLoss < m_losses.size() && m_losses[m_nextLoss].offset < picture.offset)
                break;
            const std::vector<int> faults = faultsOf(picture, states);
            const int least = *std::min_element(faults.begin(), faults.end());
            const Indexes fitting = channelsWith(faults, least);
            if (fitting == channels && least == faultsOfFirst
                && picture.slice.isSync == m_found.pictures[index].slice.isSync)
                window.push_back(next);
            else if (fitting.size() == 1
                     && std::find(channels.begin(), channels.end(), fitting[0]) == channels.end())
                states[fitting[0]].add(next, picture);
            else
                break;
        }
        return window;
    }

    [[nodiscard]] std::vector<int> faultsOf(const AccessUnit &picture,
                                            const std::vector<ChannelState> &states) const
    {
        std::vector<int> faults;
        for (const ChannelState &channel : states)
            faults.push_back(channel.faultsOf(picture, m_found));
        return faults;
    }

    /// Whether bytes are lost directly before the picture.
    bool passLosses(const AccessUnit &picture)
    {
        bool isAny = false;
        for (; m_nextLoss < m_losses.size() && m_losses[m_nextLoss].offset < picture.offset; ++m_nextLoss)
            isAny = true;
        return isAny;
    }

    const AccessUnits &m_found;
    const std::vector<Span> &m_losses;
    Asking m_asking;
    CameraTrial *m_trial;
    std::vector<ChannelState> m_channels;
    std::vector<bool> m_isDecided;
    std::size_t m_nextLoss = 0;
    std::uint32_t m_lossAt = 0; ///< the first picture behind the newest loss
    std::uint32_t m_unsureUntil = 0;
    std::uint32_t m_nextAsked = 0;
    std::uint32_t m_askedUntil = 0;
    Links m_links;
};

/// Channels that were asked for alike are numbered by the ids of their parameter sets, if these differ.
void orderById(const AccessUnits &found, const std::vector<ChannelRequest> &requests,
               std::vector<std::uint8_t> &channels)
{
    constexpr int unknown = -1;
    std::vector<int> ids(requests.size(), unknown);
    for (std::size_t i = 0; i < channels.size(); ++i)
        if (channels[i] != noChannel && ids[channels[i]] == unknown)
            ids[channels[i]] = found.pictures[i].slice.pictureSetId;
    std::vector<std::uint8_t> places(requests.size());
    std::iota(places.begin(), places.end(), std::uint8_t{0});
    for (std::size_t i = 0; i < ids.size(); ++i)
        for (std::size_t j = i + 1; j < ids.size(); ++j)
            if (requests[i] == requests[j] && ids[j] != unknown && ids[i] != unknown && ids[j] < ids[i]) {
                std::swap(ids[i], ids[j]);
                std::swap(places[i], places[j]);
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
        const ChannelRequest size{group.width, group.height, 0};
        if (group.width > 0 && std::find(sizes.begin(), sizes.end(), size) == sizes.end()
            && sizes.size() < most)
            sizes.push_back(size);
    }
    return sizes;
}

double logSize(const AccessUnit &picture)
{
    return std::log2(static_cast<double>(picture.end - picture.offset) + 64);
}

double medianOf(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

Links linkChannels(VideoCodec codec, const AccessUnits &found, const std::vector<ChannelRequest> &channels,
                   const std::vector<Span> &losses, Asking asking, CameraTrial *trial)
{
    if (channels.empty() || found.pictures.empty())
        return {std::vector<std::uint8_t>(found.pictures.size(), noChannel), 0, {}, 0, 0, 0, 0};
    Links links = Linking(codec, found, channels, losses, asking, trial).run();
    orderById(found, channels, links.channels);
    return links;
}

std::vector<ChannelRequest> guessChannels(VideoCodec codec, const AccessUnits &found,
                                          const std::vector<Span> &losses)
{
    constexpr std::size_t mostGuessed = 5;
    constexpr double worthAnother = 0.5; // faults of a picture
    constexpr std::size_t enoughPictures = 2000;
    AccessUnits first;
    first.sets = found.sets;
    first.pictures.assign(found.pictures.begin(),
                          found.pictures.begin()
                              + static_cast<std::ptrdiff_t>(std::min(found.pictures.size(), enoughPictures)));
    std::vector<ChannelRequest> channels = sizesOf(found, mostGuessed);
    if (channels.empty())
        channels.emplace_back();
    auto faults = static_cast<double>(linkChannels(codec, first, channels, losses).faults);
    while (channels.size() < mostGuessed) {
        std::vector<ChannelRequest> best;
        double least = faults - worthAnother * static_cast<double>(first.pictures.size());
        for (std::size_t i = 0; i < channels.size(); ++i) {
            std::vector<ChannelRequest> more = channels;
            more.insert(more.begin() + static_cast<std::ptrdiff_t>(i), channels[i]);
            const auto some = static_cast<double>(linkChannels(codec, first, more, losses).faults);
            if (some < least) {
                least = some;
                best = std::move(more);
            }
        }
        if (best.empty())
            break;
        channels = std::move(best);
        faults = least;
    }
    return channels;
}

bool doSizesShowTurns(const AccessUnits &found, const Links &links, std::size_t channelCount)
{
    constexpr double apart =
        4; // usual deviations between two channels, so that one stands out on the other's place
    constexpr std::size_t mostOutside = 200; // one in so many
    std::vector<std::vector<double>> sizes(channelCount);
    for (std::size_t i = 0; i < found.pictures.size(); ++i)
        if (links.channels[i] != noChannel && !found.pictures[i].slice.isSync)
            sizes[links.channels[i]].push_back(logSize(found.pictures[i]));
    std::vector<std::pair<double, double>> usual; // middle and deviation
    for (const std::vector<double> &own : sizes) {
        if (own.empty())
            return false;
        const double middle = medianOf(own);
        std::vector<double> deviations;
        for (const double size : own)
            deviations.push_back(std::abs(size - middle));
        usual.emplace_back(middle, std::max(0.05, medianOf(std::move(deviations))));
    }
    std::sort(usual.begin(), usual.end());
    std::size_t outside = 0;
    for (std::size_t i = 1; i < usual.size(); ++i) {
        const double border = (usual[i].first + usual[i - 1].first) / 2;
        if (usual[i].first - usual[i - 1].first < apart * (usual[i].second + usual[i - 1].second) / 2)
            return false;
        for (const std::vector<double> &own : sizes) {
            const bool isAbove = medianOf(own) > border;
            outside += static_cast<std::size_t>(std::count_if(
                own.begin(), own.end(), [&](double size) { return (size > border) != isAbove; }));
        }
    }
    return outside * mostOutside <= found.pictures.size();
}
