#include "reading/accessunits.h"

#include <algorithm>
#include <limits>

namespace {

constexpr std::size_t mostSetGroups = 1000;
constexpr std::uint16_t mostUnits = std::numeric_limits<std::uint16_t>::max();
constexpr std::uint64_t longestPadding = 4096;

bool isSet(UnitKind kind)
{
    return kind == UnitKind::VideoSet || kind == UnitKind::SequenceSet || kind == UnitKind::PictureSet;
}

/// Messages of H.265 and fillers stand behind the slices; whatever else isn't a slice begins the next
/// picture.
bool mayFollowSlices(VideoCodec codec, const FoundUnit &unit)
{
    constexpr std::uint8_t suffixMessage = 40;
    return unit.kind == UnitKind::Filler || unit.kind == UnitKind::End
        || (codec == VideoCodec::H265 && unit.type == suffixMessage);
}

class Grouping
{
public:
    Grouping(Bytes bytes, VideoCodec codec)
        : m_bytes(bytes)
        , m_codec(codec)
    {
    }

    void take(const FoundUnit &unit)
    {
        if (unit.kind == UnitKind::Slice)
            takeSlice(unit);
        else if (mayFollowSlices(m_codec, unit))
            appendIfBehind(unit);
        else
            m_pending.push_back(unit);
        // No picture has that much before its first slice.
        if (m_pending.size() > 64)
            m_pending.erase(m_pending.begin());
    }

    AccessUnits takeResult() { return std::move(m_result); }

private:
    void takeSlice(const FoundUnit &unit)
    {
        if (unit.slice.isFirst)
            return begin(unit);
        m_pending.clear();
        if (!m_result.pictures.empty() && belongsToLast(unit))
            append(unit);
    }

    /// The slices of a picture stand one behind the other.
    [[nodiscard]] bool belongsToLast(const FoundUnit &unit) const
    {
        const AccessUnit &last = m_result.pictures.back();
        constexpr std::uint32_t frameNumber = 0xf0000000; // as many bits of it as there are at least
        if (unit.offset < last.end || unit.offset - last.end > longestPadding || !unit.isLinkedBefore
            || unit.slice.pictureSetId != last.slice.pictureSetId || unit.slice.isSync != last.slice.isSync)
            return false;
        return m_codec == VideoCodec::H265
            || (unit.slice.firstBlock > m_lastFirstBlock
                && ((unit.slice.restBits ^ last.slice.restBits) & frameNumber) == 0);
    }

    void begin(const FoundUnit &slice)
    {
        dropForeign(slice);
        AccessUnit picture;
        picture.offset = m_pending.empty() ? slice.offset : m_pending.front().offset;
        picture.firstUnit = static_cast<std::uint32_t>(m_result.units.size());
        picture.slice = slice.slice;
        picture.setsId = setsOf(m_pending);
        m_result.pictures.push_back(picture);
        for (const FoundUnit &unit : m_pending)
            append(unit);
        m_pending.clear();
        append(slice);
    }

    /// What doesn't stand directly before the slice belonged to a picture that is lost.
    void dropForeign(const FoundUnit &slice)
    {
        std::size_t first = m_pending.size();
        std::uint64_t begin = slice.offset;
        while (first > 0 && m_pending[first - 1].end() <= begin
               && begin - m_pending[first - 1].end() < longestPadding)
            begin = m_pending[--first].offset;
        m_pending.erase(m_pending.begin(), m_pending.begin() + static_cast<std::ptrdiff_t>(first));
    }

    void appendIfBehind(const FoundUnit &unit)
    {
        if (!m_result.pictures.empty() && m_pending.empty() && unit.offset == m_result.pictures.back().end)
            append(unit);
    }

    void append(const FoundUnit &unit)
    {
        if (m_result.pictures.empty() || m_result.pictures.back().unitCount == mostUnits)
            return;
        AccessUnit &picture = m_result.pictures.back();
        ++picture.unitCount;
        picture.end = unit.end();
        picture.isDamaged |= unit.isDamaged;
        picture.isSupported |= unit.isLinkedBefore || unit.isLinkedAfter;
        if (unit.kind == UnitKind::Slice) {
            ++picture.sliceCount;
            m_lastFirstBlock = unit.slice.firstBlock;
        }
        m_result.units.push_back(unit);
    }

    std::uint16_t setsOf(const std::vector<FoundUnit> &units)
    {
        SetGroup group;
        for (const FoundUnit &unit : units) {
            if (!isSet(unit.kind))
                continue;
            const Bytes bytes = m_bytes.subspan(unit.offset + 4, unit.size);
            group.sets.emplace_back(bytes.begin(), bytes.end());
            if (unit.kind == UnitKind::SequenceSet)
                readSequence(group);
        }
        if (group.sets.empty())
            return 0;
        const auto known = std::find_if(m_result.sets.begin(), m_result.sets.end(),
                                        [&](const SetGroup &other) { return other.sets == group.sets; });
        const auto index = known - m_result.sets.begin();
        if (known == m_result.sets.end()) {
            if (m_result.sets.size() == mostSetGroups)
                return 0;
            m_result.sets.push_back(std::move(group));
        }
        return static_cast<std::uint16_t>(index + 1);
    }

    void readSequence(SetGroup &group) const
    {
        if (m_codec == VideoCodec::H264) {
            if (const auto sequence = parseH264Sequence(group.sets.back())) {
                group.width = sequence->width;
                group.height = sequence->height;
                group.counterBits = sequence->log2MaxFrameNum;
            }
        } else if (const auto sequence = parseH265Sequence(group.sets.back())) {
            group.width = sequence->width;
            group.height = sequence->height;
            group.counterBits = sequence->log2MaxOrderLsb;
        }
    }

    Bytes m_bytes;
    VideoCodec m_codec;
    std::vector<FoundUnit> m_pending; ///< before the first slice of the next picture
    std::uint32_t m_lastFirstBlock = 0;
    AccessUnits m_result;
};

} // namespace

AccessUnits groupUnits(Bytes bytes, VideoCodec codec, const std::vector<FoundUnit> &units)
{
    Grouping grouping(bytes, codec);
    for (const FoundUnit &unit : units)
        grouping.take(unit);
    return grouping.takeResult();
}
