#include "pictureorder.h"

#include "bitreader.h"

#include <algorithm>
#include <numeric>
#include <optional>

namespace {

/// What a picture's first slice says of its place.
struct Place {
    bool startsSequence = false; ///< orders before and behind it can't be compared
    std::optional<std::uint32_t> orderLsb;
    int log2MaxOrderLsb = 4;
    bool isAnchor = true; ///< later orders continue from this one
};

template <typename Set> const Set *byId(const std::vector<Set> &sets, int id)
{
    const auto found = std::find_if(sets.begin(), sets.end(), [id](const Set &set) { return set.id == id; });
    return found == sets.end() ? nullptr : &*found;
}

constexpr bool isH264Slice(int type) { return type == 1 || type == 5; }
constexpr bool isH265Slice(int type) { return type <= 9 || (type >= 16 && type <= 21); }

Place h264Place(UnitBytes unit, const ChannelSets &sets)
{
    constexpr unsigned idr = 5;
    Place place;
    place.startsSequence = (unit[0] & 0x1fU) == idr;
    place.isAnchor = (unit[0] & 0x60U) != 0;
    BitReader reader(unit.subspan(1));
    reader.unsignedGolomb();
    reader.unsignedGolomb();
    const H264Picture *picture = byId(sets.h264Pictures, static_cast<int>(reader.unsignedGolomb()));
    const H264Sequence *sequence = picture ? byId(sets.h264Sequences, picture->sequenceId) : nullptr;
    if (!sequence || sequence->orderType != 0)
        return place;
    if (sequence->hasSeparatePlanes)
        reader.skip(2);
    reader.skip(static_cast<unsigned>(sequence->log2MaxFrameNum));
    if (!sequence->isFrameOnly && reader.flag())
        reader.bit();
    if (place.startsSequence)
        reader.unsignedGolomb();
    place.log2MaxOrderLsb = sequence->log2MaxOrderLsb;
    place.orderLsb = reader.bits(static_cast<unsigned>(sequence->log2MaxOrderLsb));
    if (!reader.isGood())
        place.orderLsb.reset();
    return place;
}

Place h265Place(UnitBytes unit, const ChannelSets &sets)
{
    const unsigned type = (unit[0] >> 1U) & 0x3fU;
    const bool isIdr = type == 19 || type == 20;
    const bool isRandomAccess = type >= 16 && type <= 23;
    const bool isLeading = type >= 6 && type <= 9;
    const bool isUnused = type <= 14 && type % 2 == 0;
    Place place;
    place.startsSequence = isIdr || (type >= 16 && type <= 18);
    place.isAnchor = (unit[1] & 7U) == 1 && !isLeading && !isUnused;
    BitReader reader(unit.subspan(2));
    reader.bit();
    if (isRandomAccess)
        reader.bit();
    const H265Picture *picture = byId(sets.h265Pictures, static_cast<int>(reader.unsignedGolomb()));
    const H265Sequence *sequence = picture ? byId(sets.h265Sequences, picture->sequenceId) : nullptr;
    if (!sequence)
        return place;
    reader.skip(static_cast<unsigned>(picture->extraSliceHeaderBits));
    reader.unsignedGolomb();
    if (picture->hasOutputFlag)
        reader.bit();
    if (sequence->hasSeparatePlanes)
        reader.skip(2);
    place.log2MaxOrderLsb = sequence->log2MaxOrderLsb;
    place.orderLsb = isIdr ? 0 : reader.bits(static_cast<unsigned>(sequence->log2MaxOrderLsb));
    if (!reader.isGood())
        place.orderLsb.reset();
    return place;
}

Place placeOf(Bytes bytes, const std::vector<Unit> &units, const Channel &channel, const Picture &picture,
              const ChannelSets &sets)
{
    constexpr std::size_t headerBytes = 64;
    const bool isH264 = channel.codec == VideoCodec::H264;
    for (std::uint32_t i = picture.firstUnit; i < picture.firstUnit + picture.unitCount; ++i) {
        const Unit &unit = units[i];
        if (unit.size < 3 || !(isH264 ? isH264Slice(unit.type) : isH265Slice(unit.type)))
            continue;
        const UnitBytes head = bytes.subspan(unit.offset, std::min<std::size_t>(unit.size, headerBytes));
        return isH264 ? h264Place(head, sets) : h265Place(head, sets);
    }
    return {};
}

/// Continues the low bits of picture order counts over their wraps.
class OrderCounter
{
public:
    /// None for a place without one.
    std::optional<std::int64_t> next(const Place &place)
    {
        if (!place.orderLsb)
            return {};
        const std::int64_t range = std::int64_t{1} << place.log2MaxOrderLsb;
        const auto lsb = static_cast<std::int64_t>(*place.orderLsb);
        if (place.startsSequence)
            m_anchor = lsb;
        std::int64_t order = m_anchor - m_anchor % range + lsb;
        if (order < m_anchor - range / 2)
            order += range;
        else if (order > m_anchor + range / 2 && order >= range)
            order -= range;
        if (place.isAnchor)
            m_anchor = order;
        return order;
    }

private:
    std::int64_t m_anchor = 0;
};

/// Ranks of the pictures from `first` on by their orders; where two orders are equal nothing is known.
bool rank(const std::vector<std::int64_t> &orders, std::uint32_t first, std::vector<std::uint32_t> &ranks)
{
    std::vector<std::uint32_t> sorted(orders.size());
    std::iota(sorted.begin(), sorted.end(), 0U);
    std::stable_sort(sorted.begin(), sorted.end(),
                     [&orders](std::uint32_t a, std::uint32_t b) { return orders[a] < orders[b]; });
    bool isMoved = false;
    for (std::uint32_t i = 0; i < sorted.size(); ++i) {
        ranks[first + sorted[i]] = first + i;
        isMoved = isMoved || sorted[i] != i;
    }
    return isMoved;
}

/// No camera reorders so far: where a picture would be shown before that many that are decoded shortly before
/// it, a key picture is lost between.
bool isOfLaterSequence(const std::vector<std::int64_t> &orders, std::int64_t order)
{
    constexpr std::ptrdiff_t farthest = 4;
    constexpr std::size_t window = 16;
    const auto first = orders.end() - static_cast<std::ptrdiff_t>(std::min(window, orders.size()));
    return std::count_if(first, orders.end(), [order](std::int64_t earlier) { return earlier >= order; })
        > farthest;
}

} // namespace

ChannelSets readSets(VideoCodec codec, const std::vector<ParameterSet> &sets)
{
    ChannelSets read;
    for (const ParameterSet &set : sets) {
        if (codec == VideoCodec::H264) {
            if (const auto sequence = parseH264Sequence(set))
                read.h264Sequences.push_back(*sequence);
            else if (const auto picture = parseH264Picture(set))
                read.h264Pictures.push_back(*picture);
        } else if (const auto sequence = parseH265Sequence(set)) {
            read.h265Sequences.push_back(*sequence);
        } else if (const auto picture = parseH265Picture(set)) {
            read.h265Pictures.push_back(*picture);
        }
    }
    return read;
}

std::vector<std::uint32_t> displayOrder(Bytes bytes, const std::vector<Unit> &units, const Channel &channel,
                                        const ChannelSets &sets)
{
    std::vector<std::uint32_t> ranks(channel.pictures.size());
    std::iota(ranks.begin(), ranks.end(), 0U);
    bool isMoved = false;
    OrderCounter counter;
    std::vector<std::int64_t> orders;
    std::uint32_t first = 0;
    for (std::uint32_t i = 0; i < channel.pictures.size(); ++i) {
        const Place place = placeOf(bytes, units, channel, channel.pictures[i], sets);
        const std::optional<std::int64_t> order = counter.next(place);
        const bool isBroken = channel.pictures[i].followsLoss && order && isOfLaterSequence(orders, *order);
        if (place.startsSequence || isBroken) {
            isMoved = rank(orders, first, ranks) || isMoved;
            orders.clear();
            first = i;
        }
        orders.push_back(order ? *order : orders.empty() ? 0 : orders.back());
    }
    isMoved = rank(orders, first, ranks) || isMoved;
    return isMoved ? ranks : std::vector<std::uint32_t>{};
}
