#include "staletail.h"

#include "numbering.h"
#include "remains.h"
#include "soundstart.h"

#include <algorithm>

namespace {

constexpr std::int64_t allowedStepBack = 1; // seconds; the clock may be set while recording
constexpr std::int64_t allowedStepAhead = 5;
constexpr double slackBytesPerSecond =
    20'000; // the slowest recording: a loss of that many bytes takes a second

bool isStep(const Block &from, const Block &to)
{
    const std::int64_t step = *to.second - *from.second;
    const double lost = static_cast<double>(to.offset - from.end()) / slackBytesPerSecond;
    return step < -allowedStepBack
        || static_cast<double>(step) > static_cast<double>(allowedStepAhead) + lost;
}

/// The first block of another time from which no way leads back.
const Block *firstStale(const std::vector<Block> &blocks, Block::Kind kind, const Block *&lastGood)
{
    const Block *first = nullptr;
    for (const Block &block : blocks) {
        if (block.kind != kind || !block.second)
            continue;
        if (lastGood != nullptr && isStep(*lastGood, block)) {
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

/// Where the writing may have ended between two places: where the chain of units breaks and no sound begins.
/// A unit that was cut through has its header still; its data goes on as something else.
std::vector<std::uint64_t> breaksBetween(Bytes bytes, const Landmarks &landmarks, const SoundShape &sound,
                                         Span part, Span &largest)
{
    std::vector<std::uint64_t> breaks;
    for (const Span &piece : leftoversIn(bytes, part, landmarks)) {
        const bool isSound = isSoundStart(sound.kind, bytes.subspan(piece.offset, piece.size));
        if (looksLikeUnit(bytes, landmarks.codec, piece.offset)
            || (isSound && piece.size > sound.largestPiece))
            breaks.push_back(piece.offset);
        // Behind what isn't sound the unit isn't whole: its length told of bytes that were never written.
        else if (!isSound)
            breaks.push_back(std::max(part.offset, lastUnitBefore(landmarks, piece.offset)));
        if (piece.size > largest.size)
            largest = piece;
    }
    return breaks;
}

/// The share of the pictures right behind a place whose numbers follow those right before it.
double continuityAt(const AccessUnits &found, int counterBits, std::uint64_t place)
{
    constexpr std::ptrdiff_t window = 12;
    const auto isBefore = [](const AccessUnit &picture, std::uint64_t at) { return picture.offset < at; };
    const auto middle = std::lower_bound(found.pictures.begin(), found.pictures.end(), place, isBefore);
    const auto first = middle - std::min(window, middle - found.pictures.begin());
    const auto last = middle + std::min(window / 2, found.pictures.end() - middle);
    const std::uint32_t mask = (1U << static_cast<unsigned>(counterBits)) - 1;
    int tested = 0;
    int following = 0;
    for (auto picture = middle; picture != last; ++picture) {
        if (picture->slice.restartsCount)
            continue;
        ++tested;
        following += std::any_of(first, middle, [&](const AccessUnit &before) {
            return before.slice.pictureSetId == picture->slice.pictureSetId
                && ((numberOf(picture->slice, counterBits) - numberOf(before.slice, counterBits)) & mask)
                <= 3;
        });
    }
    return tested == 0 ? 0.5 : static_cast<double>(following) / tested;
}

/// Of several breaks bad sectors have made most; the numbers of the pictures go on behind these.
std::uint64_t chooseBreak(Bytes bytes, const Landmarks &landmarks, const std::vector<std::uint64_t> &breaks)
{
    if (breaks.size() == 1)
        return breaks.front();
    constexpr std::size_t usualChannels = 2;
    const AccessUnits found = groupUnits(bytes, landmarks.codec, landmarks.units);
    const int bits = counterBitsOf(landmarks.codec, found, usualChannels);
    std::uint64_t best = breaks.front();
    double least = 2;
    for (const std::uint64_t place : breaks) {
        if (const double continuity = continuityAt(found, bits, place); continuity < least) {
            least = continuity;
            best = place;
        }
    }
    return best;
}

RecordingEnd breakBetween(Bytes bytes, const Landmarks &landmarks, const SoundShape &sound, Span part)
{
    Span largest{part.end(), 0};
    const std::vector<std::uint64_t> breaks = breaksBetween(bytes, landmarks, sound, part, largest);
    if (breaks.empty())
        return {largest.offset, part};
    return {chooseBreak(bytes, landmarks, breaks), {}};
}

} // namespace

RecordingEnd recordingEnd(Bytes bytes, Span payload, const Landmarks &landmarks)
{
    const Block *lastGood = nullptr;
    const Block *stale = firstStale(landmarks.blocks, Block::Kind::Acceleration, lastGood);
    if (lastGood == nullptr)
        stale = firstStale(landmarks.blocks, Block::Kind::Position, lastGood);
    if (stale == nullptr)
        return {payload.end(), {}};
    const Span good{payload.offset, lastGood->end() - payload.offset};
    const SoundShape sound = soundShapeOf(bytes, good, landmarks);
    return breakBetween(bytes, landmarks, sound, {lastGood->end(), stale->offset - lastGood->end()});
}

void cutOff(Landmarks &landmarks, std::uint64_t end)
{
    const auto isBehind = [end](const auto &thing) { return thing.offset >= end; };
    std::erase_if(landmarks.units, isBehind);
    std::erase_if(landmarks.soundFrames, isBehind);
    std::erase_if(landmarks.blocks, isBehind);
    std::erase_if(landmarks.boxes, isBehind);
}
