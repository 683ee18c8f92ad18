#include "reading/staletail.h"

#include "channels/numbering.h"
#include "reading/accessunits.h"
#include "sound/remains.h"
#include "sound/soundstart.h"

#include <algorithm>
#include <map>
#include <optional>

namespace {

constexpr std::int64_t allowedStepBack = 1; // seconds; the clock may be set while recording
constexpr std::int64_t allowedStepAhead = 5;
constexpr double slack = 2; // seconds that a loss may take for each that as many bytes usually take

/// How many bytes were written in a second, by blocks of one kind in a row.
double bytesPerSecond(const std::vector<Block> &blocks, Block::Kind kind)
{
    double bytes = 1;
    double seconds = 0;
    const Block *last = nullptr;
    for (const Block &block : blocks) {
        if (block.kind != kind || !block.second)
            continue;
        if (last != nullptr && *block.second >= *last->second
            && *block.second - *last->second <= allowedStepAhead) {
            bytes += double(block.offset - last->offset);
            seconds += double(*block.second - *last->second);
        }
        last = &block;
    }
    return bytes / std::max(1.0, seconds);
}

bool isStep(const Block &from, const Block &to, double perSecond)
{
    const std::int64_t step = *to.second - *from.second;
    const double lost = slack * static_cast<double>(to.offset - from.end()) / perSecond;
    return step < -allowedStepBack
        || static_cast<double>(step) > static_cast<double>(allowedStepAhead) + lost;
}

/// The first block of another time from which no way leads back.
const Block *firstStale(const std::vector<Block> &blocks, Block::Kind kind, const Block *&lastGood)
{
    const Block *first = nullptr;
    const double perSecond = bytesPerSecond(blocks, kind);
    for (const Block &block : blocks) {
        if (block.kind != kind || !block.second)
            continue;
        if (lastGood != nullptr && isStep(*lastGood, block, perSecond)) {
            if (first == nullptr)
                first = &block;
            continue;
        }
        lastGood = &block;
        first = nullptr;
    }
    return first;
}

bool looksLikeUnit(Bytes bytes, VideoCodec codec, std::uint64_t offset)
{
    constexpr std::uint64_t headSize = 32;
    if (offset + 8 > bytes.size())
        return false;
    const std::uint32_t size = bigEndian32(bytes.data() + offset);
    const Bytes head = bytes.subspan(offset + 4, std::min(bytes.size() - offset - 4, headSize));
    return size > 8 && size <= maximumUnitSize && kindOf(codec, head.data()) == UnitKind::Slice
        && sliceStartOf(codec, head).has_value();
}

std::uint64_t lastUnitBefore(const Landmarks &landmarks, std::uint64_t place)
{
    const auto isBefore = [](const FoundUnit &unit, std::uint64_t at) { return unit.offset < at; };
    const auto next = std::lower_bound(landmarks.units.begin(), landmarks.units.end(), place, isBefore);
    return next == landmarks.units.begin() ? 0 : (next - 1)->offset;
}

/// Where the writing may have ended: where the chain of units breaks and no sound begins. A unit that was cut
/// through has its header still; its data goes on as something else.
std::vector<Span> breaksIn(Bytes bytes, const Landmarks &landmarks, const SoundShape &sound, Span part)
{
    constexpr std::uint64_t noticeable = 64; // what is left of a unit
    std::vector<Span> breaks;
    for (const Span &piece : leftoversIn(bytes, part, landmarks)) {
        const bool isSound = isSoundStart(sound.kind, bytes.subspan(piece.offset, piece.size));
        if (looksLikeUnit(bytes, landmarks.codec, piece.offset)
            || (isSound && piece.size > sound.largestPiece)) {
            breaks.push_back(piece);
        } else if (!isSound && piece.size >= noticeable) {
            // Behind what isn't sound the unit isn't whole: its length told of bytes that were never written.
            const std::uint64_t unit = std::max(part.offset, lastUnitBefore(landmarks, piece.offset));
            breaks.push_back({unit, piece.end() - unit});
        }
    }
    return breaks;
}

/// The pictures of a recording, to see whether they go on behind a place.
class Continuity
{
public:
    Continuity(Bytes bytes, const Landmarks &landmarks)
        : m_found(groupUnits(bytes, landmarks.codec, landmarks.units))
        , m_bits(counterBitsOf(landmarks.codec, m_found, usualChannels))
        , m_isOrdered(landmarks.codec == VideoCodec::H264)
    {
        std::optional<std::size_t> last;
        for (std::size_t i = 0; i < m_found.pictures.size(); ++i) {
            const AccessUnit &picture = m_found.pictures[i];
            m_largest = std::max(m_largest, picture.end - picture.offset);
            m_usualSize += double(picture.end - picture.offset) / double(m_found.pictures.size());
            // Where one channel has its key picture the others have theirs soon.
            if (picture.slice.isSync && (m_keys.empty() || i - *last > near))
                m_keys.push_back(i);
            last = picture.slice.isSync ? i : last;
        }
        std::map<std::size_t, std::size_t> lengths;
        for (std::size_t i = 1; i < m_keys.size(); ++i)
            ++lengths[m_keys[i] - m_keys[i - 1]];
        for (const auto &[length, count] : lengths)
            m_group = count * 2 > m_keys.size() - 1 ? length : m_group;
    }

    /// Whether the pictures right behind a break have numbers that don't follow those right before it, or key
    /// pictures that come at another time; both, where nothing but that speaks for a border.
    [[nodiscard]] bool isBrokenAt(const Span &place, bool needsBoth) const
    {
        const auto behind = firstFrom(place.end());
        const auto before = firstFrom(place.offset);
        if (behind == m_found.pictures.end() || before == m_found.pictures.begin())
            return false;
        // A unit that was cut through and the rest of one that it reaches into hold no picture that is lost.
        const double lost = std::max(0.0, double(place.size) - 2.5 * double(m_largest)) / m_usualSize;
        const bool isOther = isOtherNumber(before, behind, lost);
        const bool isLate = isOtherGroup(before, behind, lost);
        return needsBoth ? isOther && isLate : isOther || isLate || isOtherSet(before, behind);
    }

private:
    using Place = std::vector<AccessUnit>::const_iterator;
    static constexpr std::size_t usualChannels = 2;
    static constexpr std::size_t near = 8; ///< pictures of all channels

    [[nodiscard]] Place firstFrom(std::uint64_t offset) const
    {
        return std::lower_bound(
            m_found.pictures.begin(), m_found.pictures.end(), offset,
            [](const AccessUnit &picture, std::uint64_t at) { return picture.offset < at; });
    }

    [[nodiscard]] bool isOtherNumber(Place before, Place behind, double lost) const
    {
        constexpr std::ptrdiff_t window = 10;
        constexpr double fewest = 4;
        const std::uint32_t mask = (1U << static_cast<unsigned>(m_bits)) - 1;
        const auto first = before - std::min(window, before - m_found.pictures.begin());
        const auto last = behind + std::min(window, m_found.pictures.end() - behind);
        const double most = fewest + 2 * lost;
        if (most * 2 > mask)
            return false;
        int tested = 0;
        int following = 0;
        for (auto picture = behind; picture != last && !picture->slice.isSync; ++picture) {
            ++tested;
            following += std::any_of(first, before, [&](const AccessUnit &earlier) {
                const std::uint32_t step =
                    (numberOf(picture->slice, m_bits) - numberOf(earlier.slice, m_bits)) & mask;
                return earlier.slice.pictureSetId == picture->slice.pictureSetId
                    && (step <= most + double(picture - behind) || (!m_isOrdered && step + most >= mask));
            });
        }
        return tested > 0 && following * 2 < tested;
    }

    /// Where groups are equally long the next one begins in time, but for some pictures that are lost.
    [[nodiscard]] bool isOtherGroup(Place before, Place behind, double lost) const
    {
        const auto at = static_cast<std::size_t>(before - m_found.pictures.begin());
        const auto next = std::lower_bound(m_keys.begin(), m_keys.end(),
                                           static_cast<std::size_t>(behind - m_found.pictures.begin()));
        const auto earlier = std::lower_bound(m_keys.begin(), m_keys.end(), at);
        if (m_group == 0 || next == m_keys.end() || earlier == m_keys.begin() || lost * 4 > double(m_group))
            return false;
        const std::size_t distance = *next - *(earlier - 1);
        const std::size_t off = std::min(distance % m_group, m_group - distance % m_group);
        return double(off) > double(near) + 2 * lost;
    }

    /// Parameter sets that were not before it.
    [[nodiscard]] bool isOtherSet(Place before, Place behind) const
    {
        constexpr std::ptrdiff_t reach = 40;
        const auto last = behind + std::min(reach, m_found.pictures.end() - behind);
        const auto key =
            std::find_if(behind, last, [](const AccessUnit &picture) { return picture.setsId != 0; });
        const auto hasSets = [](const AccessUnit &picture) { return picture.setsId != 0; };
        constexpr std::ptrdiff_t enough = 6; // those of channels that begin late are new, too
        return key != last && std::count_if(m_found.pictures.begin(), before, hasSets) >= enough
            && std::none_of(m_found.pictures.begin(), before,
                            [&](const AccessUnit &picture) { return picture.setsId == key->setsId; });
    }

    AccessUnits m_found;
    int m_bits;
    bool m_isOrdered; ///< numbers rise in the order of coding
    double m_usualSize = 1; ///< bytes of a picture
    std::uint64_t m_largest = 0;
    std::vector<std::size_t> m_keys; ///< the first key pictures of all channels' groups
    std::size_t m_group = 0; ///< pictures from one of these to the next; 0: not always as many
};

} // namespace

RecordingEnd recordingEnd(Bytes bytes, Span payload, const Landmarks &landmarks)
{
    constexpr std::uint64_t longestBreak = 1U << 20U; // a unit that was cut through and what it reaches into
    const Block *lastGood = nullptr;
    const Block *stale = firstStale(landmarks.blocks, Block::Kind::Acceleration, lastGood);
    if (lastGood == nullptr)
        stale = firstStale(landmarks.blocks, Block::Kind::Position, lastGood);
    const Span part = stale == nullptr ? payload : Span{lastGood->end(), stale->offset - lastGood->end()};
    const SoundShape sound = soundShapeOf(
        bytes, stale == nullptr ? payload : Span{payload.offset, part.offset - payload.offset}, landmarks);
    std::vector<Span> breaks = breaksIn(bytes, landmarks, sound, part);
    const Continuity continuity(bytes, landmarks);
    for (const Span &place : breaks)
        if (place.size < longestBreak && continuity.isBrokenAt(place, stale == nullptr))
            return {place.offset, true};
    if (stale == nullptr)
        return {payload.end(), false};
    // By the clock there is a border somewhere between; nothing of the doubtful stretch is shown.
    return {breaks.empty() ? part.offset : breaks.front().offset, true};
}

void cutOff(Landmarks &landmarks, std::uint64_t end)
{
    const auto isBehind = [end](const auto &thing) { return thing.offset >= end; };
    std::erase_if(landmarks.units, isBehind);
    std::erase_if(landmarks.soundFrames, isBehind);
    std::erase_if(landmarks.blocks, isBehind);
    std::erase_if(landmarks.boxes, isBehind);
}
