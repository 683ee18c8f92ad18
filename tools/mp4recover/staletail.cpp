#include "staletail.h"

#include "remains.h"

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

/// Where the writing ended between two places. A unit that was cut through has its header still; its data
/// goes on as something else.
RecordingEnd breakBetween(Bytes bytes, const Landmarks &landmarks, const SoundShape &sound,
                          std::uint64_t begin, std::uint64_t end)
{
    Span largest{end, 0};
    for (const Span &piece : leftoversIn(bytes, {begin, end - begin}, landmarks)) {
        const bool isSound = isSoundStart(sound.kind, bytes.subspan(piece.offset, piece.size));
        if (looksLikeUnit(bytes, landmarks.codec, piece.offset)
            || (isSound && piece.size > sound.largestPiece))
            return {piece.offset, {}};
        // Behind what isn't sound the unit isn't whole: its length told of bytes that were never written.
        if (!isSound)
            return {std::max(begin, lastUnitBefore(landmarks, piece.offset)), {}};
        if (piece.size > largest.size)
            largest = piece;
    }
    return {largest.offset, Span{begin, end - begin}};
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
    return breakBetween(bytes, landmarks, sound, lastGood->end(), stale->offset);
}

void cutOff(Landmarks &landmarks, std::uint64_t end)
{
    const auto isBehind = [end](const auto &thing) { return thing.offset >= end; };
    std::erase_if(landmarks.units, isBehind);
    std::erase_if(landmarks.soundFrames, isBehind);
    std::erase_if(landmarks.blocks, isBehind);
    std::erase_if(landmarks.boxes, isBehind);
}
