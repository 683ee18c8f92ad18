#include "setsofchannels.h"

#include "setsearch.h"
#include "trialdecoder.h"

#include <algorithm>
#include <array>

namespace {

using UsedIds = std::map<int, std::size_t>;

/// Sizes that cameras record, the usual ones first.
constexpr std::array<std::array<int, 2>, 14> usualSizes{{{1920, 1080},
                                                         {1280, 720},
                                                         {2560, 1440},
                                                         {3840, 2160},
                                                         {640, 480},
                                                         {640, 360},
                                                         {2304, 1296},
                                                         {1280, 960},
                                                         {848, 480},
                                                         {720, 480},
                                                         {1600, 1200},
                                                         {2688, 1520},
                                                         {480, 270},
                                                         {320, 240}}};

ChosenSets asChosen(VideoCodec codec, BuiltSets built)
{
    ChosenSets chosen;
    chosen.origin = ChosenSets::Origin::Built;
    chosen.isProven = built.cleanPictures > 0;
    chosen.units = std::move(built.units);
    readChosen(codec, chosen);
    return chosen;
}

class Choice
{
public:
    Choice(Bytes bytes, const Findings &findings)
        : m_bytes(bytes)
        , m_findings(findings)
    {
    }

    std::vector<ChosenSets> run(std::size_t count)
    {
        std::vector<ChosenSets> all(count);
        for (std::size_t i = 0; i < count; ++i)
            all[i] = choose(i);
        for (const std::size_t i : m_doubtful)
            if (auto like = likeBest(i); like && isAsGood(i, like->units, all[i].units))
                all[i] = asChosen(m_findings.channels[i].codec, std::move(*like));
        return all;
    }

private:
    ChosenSets choose(std::size_t index)
    {
        const Channel &channel = m_findings.channels[index];
        const UsedIds ids = usedPictureSets(m_bytes, m_findings.units, channel);
        ChosenSets recorded = bestRecorded(channel, ids);
        if (recorded.isProven)
            return recorded;
        if (auto like = likeBest(index); like && recorded.units.empty() && fitsAll(channel, like->units)) {
            ChosenSets chosen = asChosen(channel.codec, std::move(*like));
            chosen.isProven = true;
            return chosen;
        }
        const auto built = search(channel, ids);
        const bool hasRecorded = recorded.origin != ChosenSets::Origin::None;
        if (!built || (hasRecorded && !built->isWhole))
            return recorded;
        if (!built->isWhole)
            m_doubtful.push_back(index);
        if (!m_best
            || std::pair(built->isWhole, built->cleanPictures)
                > std::pair(m_best->isWhole, m_best->cleanPictures))
            m_best = built;
        return asChosen(channel.codec, *built);
    }

    /// Of the sets that stand in the recording those with which most pictures can be decoded. Proven if it is
    /// any.
    [[nodiscard]] ChosenSets bestRecorded(const Channel &channel, const UsedIds &ids) const
    {
        std::vector<ChosenSets> candidates = recordedCandidates(channel, ids);
        if (candidates.empty())
            return {};
        constexpr std::size_t enough = 6;
        const bool isSingle = candidates.size() == 1;
        const std::vector<Sample> samples =
            samplesForTrial(m_bytes, m_findings.units, channel, isSingle ? 1 : enough);
        if (isSingle) {
            candidates.front().isProven = std::ranges::any_of(samples, [&](const Sample &sample) {
                return countDecodable(channel.codec, candidates.front().units, {sample}, 0) > 0;
            });
            return candidates.front();
        }
        std::size_t best = 0;
        std::size_t most = 0;
        for (std::size_t i = 0; i < candidates.size() && (most < samples.size() || samples.empty()); ++i) {
            const std::size_t good =
                countDecodable(channel.codec, candidates[i].units, samples, samples.size() - most);
            if (good > most) {
                most = good;
                best = i;
            }
        }
        candidates[best].isProven = most > 0;
        return candidates[best];
    }

    [[nodiscard]] std::optional<BuiltSets> search(const Channel &channel, const UsedIds &ids) const
    {
        if (channel.request)
            return searchSets(m_bytes, m_findings.units, channel, ids);
        constexpr double effortForSize = 0.2; // there are many sizes
        std::optional<BuiltSets> best;
        Channel sized = channel;
        for (const auto &[width, height] : usualSizes) {
            sized.request = ChannelRequest{width, height, 0};
            auto built = searchSets(m_bytes, m_findings.units, sized, ids, effortForSize);
            if (built && (!best || built->cleanPictures > best->cleanPictures))
                best = std::move(built);
            if (best && best->isWhole)
                break;
        }
        return best;
    }

    [[nodiscard]] std::optional<BuiltSets> likeBest(std::size_t index) const
    {
        const Channel &channel = m_findings.channels[index];
        if (!m_best || m_best->cleanPictures == 0)
            return {};
        return setsLike(*m_best, channel, usedPictureSets(m_bytes, m_findings.units, channel));
    }

    /// Whether these sets get through a group without a message. Of H.264 wrong ones hardly ever do; decoders
    /// of H.265 don't tell.
    [[nodiscard]] bool fitsAll(const Channel &channel, const std::vector<ParameterSet> &sets) const
    {
        constexpr std::size_t most = 40;
        constexpr std::size_t fewest = 12;
        const auto samples = samplesForTrial(m_bytes, m_findings.units, channel, most);
        return channel.codec == VideoCodec::H264 && samples.size() >= fewest
            && countDecodable(channel.codec, sets, samples, 0) == samples.size();
    }

    [[nodiscard]] bool isAsGood(std::size_t index, const std::vector<ParameterSet> &sets,
                                const std::vector<ParameterSet> &others) const
    {
        constexpr std::size_t enough = 40;
        const Channel &channel = m_findings.channels[index];
        const auto samples = samplesForTrial(m_bytes, m_findings.units, channel, enough);
        const auto count = [&](const std::vector<ParameterSet> &some) {
            return countDecodable(channel.codec, some, samples, samples.size());
        };
        return sets != others && count(sets) >= count(others);
    }

    Bytes m_bytes;
    const Findings &m_findings;
    std::optional<BuiltSets> m_best;
    std::vector<std::size_t> m_doubtful; ///< channels whose sets don't get through a whole group
};

} // namespace

std::vector<ChosenSets> setsOfChannels(Bytes bytes, const Findings &findings, std::size_t count)
{
    return Choice(bytes, findings).run(count);
}
