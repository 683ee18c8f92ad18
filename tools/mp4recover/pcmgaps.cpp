#include "pcmgaps.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace {

constexpr std::uint64_t windowSize = 128;
constexpr std::uint64_t leastRun = 2 * windowSize; // of windows alike
constexpr std::uint64_t sectorSize = 512;
constexpr std::uint64_t frameSize = 4; // of two channels; one channel's pieces are even at least

double sampleAt(Bytes bytes, std::size_t i, bool isBigEndian)
{
    const unsigned low = bytes[2 * i + (isBigEndian ? 1 : 0)];
    const unsigned high = bytes[2 * i + (isBigEndian ? 0 : 1)];
    return static_cast<double>(static_cast<std::int16_t>(high << 8U | low));
}

/// Random bytes give 16384.
double meanLoudness(Bytes bytes, bool isBigEndian)
{
    double sum = 0;
    const std::size_t count = bytes.size() / 2;
    for (std::size_t i = 0; i < count; ++i)
        sum += std::abs(sampleAt(bytes, i, isBigEndian));
    return count > 0 ? sum / double(count) : 0;
}

bool areZeros(Bytes bytes, std::uint64_t begin, std::uint64_t end)
{
    return std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(begin),
                       bytes.begin() + static_cast<std::ptrdiff_t>(end),
                       [](std::uint8_t byte) { return byte == 0; });
}

std::uint64_t alignedUp(std::uint64_t offset, std::uint64_t alignment)
{
    return (offset + alignment - 1) / alignment * alignment;
}

/// Without the padding at both ends.
Span withoutPadding(Bytes bytes, Span stretch, std::uint64_t alignment)
{
    const std::uint64_t begin = alignedUp(stretch.offset, alignment);
    if (begin < stretch.end() && areZeros(bytes, stretch.offset, begin))
        stretch = {begin, stretch.end() - begin};
    if (alignment == 1 || stretch.end() % alignment != 0)
        return stretch;
    std::uint64_t end = stretch.end();
    const std::uint64_t least = stretch.end() - std::min(stretch.size, alignment - 1);
    while (end > least && bytes[end - 1] == 0)
        --end;
    stretch.size = end - stretch.offset;
    return stretch;
}

/// The size that is more usual than others; 0: none is.
std::uint64_t usualSize(const std::vector<Span> &stretches)
{
    std::map<std::uint64_t, std::size_t> counts;
    for (const Span &stretch : stretches)
        ++counts[stretch.size];
    const auto most = std::max_element(counts.begin(), counts.end(),
                                       [](const auto &a, const auto &b) { return a.second < b.second; });
    constexpr std::size_t fewest = 3;
    if (most == counts.end() || most->second < fewest || most->second * 4 < stretches.size())
        return 0;
    return most->first;
}

/// Padded pieces of one size in a row have zeros at the end of each: how many at least.
std::uint64_t zerosBefore(Bytes bytes, Span stretch, std::uint64_t stride)
{
    std::uint64_t fewest = stride;
    for (std::uint64_t at = stretch.offset + stride; at <= stretch.end(); at += stride) {
        std::uint64_t zeros = 0;
        while (zeros < fewest && bytes[at - 1 - zeros] == 0)
            ++zeros;
        fewest = zeros;
    }
    return fewest;
}

/// Pieces of one size, each padded, in stretches that hold several of them.
void learnRows(Bytes bytes, std::vector<Span> stretches, PcmHabits &habits)
{
    constexpr std::uint64_t mostSteps = 64;
    constexpr std::uint64_t fewestZeros = 4; // sound that goes through zero shows two
    constexpr std::uint64_t fewestPieces = 4;
    // The very longest may hold damage.
    const auto chosen = stretches.begin() + static_cast<std::ptrdiff_t>(stretches.size() * 3 / 4);
    std::nth_element(stretches.begin(), chosen, stretches.end(),
                     [](const Span &a, const Span &b) { return a.size < b.size; });
    const Span row = *chosen;
    for (std::uint64_t steps = 1; steps <= mostSteps; ++steps) {
        const std::uint64_t stride = steps * habits.alignment;
        if (row.size < fewestPieces * stride)
            return;
        const std::uint64_t zeros = zerosBefore(bytes, row, stride);
        if (zeros < fewestZeros || zeros >= habits.alignment)
            continue;
        habits.stride = stride;
        habits.pieceSize = (stride - zeros + 1) / 2 * 2;
        return;
    }
}

struct Run {
    Span span;
    bool isSound = false;
};

/// Zeros that no silence explains: longer than what stands together, from sector to sector.
bool isHole(Bytes bytes, const Span &span, const PcmHabits &habits)
{
    constexpr std::uint64_t longestSilence = 64U << 10U;
    const std::uint64_t longest =
        habits.pieceSize > 0 ? std::max(2 * sectorSize, habits.pieceSize * 3 / 2) : longestSilence;
    return span.size >= longest && areZeros(bytes, span.offset, span.end());
}

bool isSoundWindow(Bytes bytes, const Span &span, bool isBigEndian)
{
    const Bytes window = bytes.subspan(span.offset, span.size);
    return isPcmLike(window, isBigEndian) || (window.size() > 2 && isPcmLike(window.subspan(1), isBigEndian));
}

/// Windows alike, one run each; short runs count to what stands before them.
std::vector<Run> runsOf(Bytes bytes, const Span &stretch, const PcmHabits &habits)
{
    std::vector<Run> runs;
    for (std::uint64_t at = stretch.offset; at < stretch.end();) {
        const Span window{at, stretch.end() - at < 2 * windowSize ? stretch.end() - at : windowSize};
        at = window.end();
        const bool isSound = isSoundWindow(bytes, window, habits.isBigEndian);
        if (!runs.empty() && runs.back().isSound == isSound)
            runs.back().span.size += window.size;
        else
            runs.push_back({window, isSound});
    }
    std::vector<Run> merged;
    for (const Run &run : runs) {
        const bool joins =
            !merged.empty() && (run.isSound == merged.back().isSound || run.span.size < leastRun);
        if (joins)
            merged.back().span.size += run.span.size;
        else
            merged.push_back(run);
    }
    return merged;
}

/// The nearest place to `about` that is whole pieces away from `anchor`.
std::uint64_t atPieces(std::uint64_t anchor, std::uint64_t about, std::uint64_t pieceSize)
{
    const std::uint64_t distance = anchor > about ? anchor - about : about - anchor;
    std::uint64_t whole = distance / frameSize * frameSize;
    if (pieceSize > 0) {
        const std::uint64_t pieces = (distance + pieceSize / 2) / pieceSize * pieceSize;
        if (pieces + windowSize >= distance && pieces <= distance + windowSize)
            whole = pieces;
    }
    return anchor > about ? anchor - std::min(whole, anchor) : anchor + whole;
}

/// Zeros beside what isn't sound are padding or a hole.
Span withoutZeros(Bytes bytes, Span run, const Span &stretch)
{
    if (run.end() < stretch.end())
        while (run.size > 0 && bytes[run.end() - 1] == 0)
            --run.size;
    if (run.offset > stretch.offset) {
        std::uint64_t zeros = 0;
        while (zeros < run.size && bytes[run.offset + zeros] == 0)
            ++zeros;
        run = {run.offset + zeros, run.size - zeros};
    }
    return run;
}

/// Where windows only show about where the sound begins or ends, whole pieces from the other end say it.
Span refined(Span run, const Span &stretch, std::uint64_t pieceSize)
{
    if (run.offset > stretch.offset && run.end() == stretch.end()) {
        const std::uint64_t begin = std::max(stretch.offset, atPieces(run.end(), run.offset, pieceSize));
        return {begin, run.end() - begin};
    }
    if (run.end() < stretch.end())
        run.size = std::min(atPieces(run.offset, run.end(), pieceSize), stretch.end()) - run.offset;
    return run;
}

std::vector<Span> soundIn(Bytes bytes, const Span &stretch, const PcmHabits &habits)
{
    const std::vector<Run> runs = runsOf(bytes, stretch, habits);
    std::uint64_t sound = 0;
    for (const Run &run : runs)
        sound += run.isSound ? run.span.size : 0;
    // Garbage in the middle of sound takes as long as the sound did.
    constexpr std::uint64_t mostPieces = 8;
    const bool isWhole = habits.pieceSize > 0 && stretch.size % habits.pieceSize == 0
        && stretch.size <= mostPieces * habits.pieceSize && sound * 4 >= stretch.size;
    if (isWhole && !isHole(bytes, stretch, habits))
        return {stretch};
    std::vector<Span> pieces;
    for (const Run &run : runs) {
        if (!run.isSound || isHole(bytes, run.span, habits))
            continue;
        const Span sounding = withoutZeros(bytes, run.span, stretch);
        if (sounding.size >= leastRun || sounding.size == stretch.size)
            pieces.push_back(refined(sounding, stretch, habits.pieceSize));
    }
    return pieces;
}

/// Cut at zeros that are a hole.
std::vector<Span> betweenHoles(Bytes bytes, const Span &stretch, const PcmHabits &habits)
{
    std::vector<Span> parts;
    std::uint64_t begin = stretch.offset;
    std::uint64_t zeros = 0;
    for (std::uint64_t at = stretch.offset; at <= stretch.end(); ++at) {
        if (at < stretch.end() && bytes[at] == 0) {
            ++zeros;
            continue;
        }
        if (zeros > 0 && isHole(bytes, {at - zeros, zeros}, habits)) {
            if (at - zeros > begin)
                parts.push_back({begin, at - zeros - begin});
            begin = std::max(at - zeros, at / sectorSize * sectorSize);
        }
        zeros = 0;
    }
    if (begin > stretch.offset) // its end tells where numbers begin
        begin += (stretch.end() - begin) % frameSize;
    if (begin < stretch.end())
        parts.push_back({begin, stretch.end() - begin});
    return parts;
}

/// Takes padded pieces of one size that stand in a row, and gives what is left behind them.
Span takeRow(Bytes bytes, Span part, const PcmHabits &habits, std::vector<Span> &pieces)
{
    const auto isPaddedAt = [&](std::uint64_t at) {
        const std::uint64_t sound = at + habits.pieceSize;
        return sound <= part.end() && areZeros(bytes, sound, std::min(part.end(), at + habits.stride));
    };
    std::uint64_t at = alignedUp(part.offset, habits.alignment);
    const std::uint64_t last = std::min(at + habits.stride, part.end());
    while (at < last && !isPaddedAt(at))
        at += habits.alignment; // behind a hole the row begins anywhere
    if (at >= last)
        return part;
    for (; isPaddedAt(at) && at < part.end(); at = std::min(part.end(), at + habits.stride))
        for (const Span &piece : soundIn(bytes, {at, habits.pieceSize}, habits))
            pieces.push_back(piece);
    return {at, part.end() - at};
}

/// Mostly rows of zeros: a hole, perhaps.
bool isEmpty(Bytes bytes)
{
    constexpr std::size_t row = 32; // of padding, or of a hole; sound shows single ones
    std::size_t zeros = 0;
    std::size_t inRows = 0;
    for (const std::uint8_t byte : bytes) {
        zeros = byte == 0 ? zeros + 1 : 0;
        inRows += zeros == row ? row : zeros > row ? 1U : 0U;
    }
    return inRows * 2 > bytes.size();
}

} // namespace

double roughness(Bytes bytes, bool isBigEndian)
{
    // Two channels alternate, so the number before the last is looked at, too.
    double differences = 0;
    double farDifferences = 0;
    double sum = 0;
    const std::size_t count = bytes.size() / 2;
    for (std::size_t i = 2; i < count; ++i) {
        const double sample = sampleAt(bytes, i, isBigEndian);
        differences += std::abs(sample - sampleAt(bytes, i - 1, isBigEndian));
        farDifferences += std::abs(sample - sampleAt(bytes, i - 2, isBigEndian));
        sum += std::abs(sample);
    }
    constexpr double chanceRatio = 4.0 / 3;
    return sum == 0 ? 1 : std::min(differences, farDifferences) / sum / chanceRatio;
}

bool isPcmLike(Bytes bytes, bool isBigEndian)
{
    constexpr double mostRough = 0.6;
    constexpr double quiet = 6000; // by chance 50 numbers are never so small
    return meanLoudness(bytes, isBigEndian) < quiet || roughness(bytes, isBigEndian) < mostRough;
}

bool isPcmStart(Bytes bytes)
{
    constexpr std::size_t enough = 4096;
    constexpr std::size_t tooFew = 32;
    const auto loud = std::find_if(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte != 0; });
    const auto silent = static_cast<std::size_t>(loud - bytes.begin()) / 2 * 2;
    const Bytes head = bytes.subspan(silent, std::min(bytes.size() - silent, enough));
    return head.size() >= tooFew && !isEmpty(head) && (isPcmLike(head, false) || isPcmLike(head, true));
}

PcmHabits pcmHabitsOf(Bytes bytes, const std::vector<Span> &stretches, std::uint64_t alignment)
{
    PcmHabits habits;
    habits.alignment = alignment;
    constexpr std::size_t enough = 4096;
    int big = 0;
    std::vector<Span> trimmed;
    for (const Span &stretch : stretches)
        if (const Span inner = withoutPadding(bytes, stretch, alignment);
            inner.size >= windowSize && isPcmStart(bytes.subspan(inner.offset, inner.size)))
            trimmed.push_back(inner);
    for (const Span &stretch : trimmed) {
        const Bytes head = bytes.subspan(stretch.offset, std::min<std::uint64_t>(stretch.size, enough));
        big += roughness(head, true) < roughness(head, false) ? 1 : -1;
    }
    habits.isBigEndian = big > 0;
    habits.pieceSize = usualSize(trimmed);
    if (alignment == 1 || trimmed.empty())
        return habits;
    learnRows(bytes, std::move(trimmed), habits);
    if (habits.stride == 0 && habits.pieceSize > 0)
        habits.stride = alignedUp(habits.pieceSize, alignment);
    return habits;
}

std::vector<Span> pcmIn(Bytes bytes, Span stretch, const PcmHabits &habits)
{
    std::vector<Span> pieces;
    const std::uint64_t end = stretch.end();
    stretch = withoutPadding(bytes, stretch, habits.alignment);
    // Zeros that make the piece as long as others are silence.
    if (habits.pieceSize > 0)
        if (const std::uint64_t whole = alignedUp(stretch.size, habits.pieceSize);
            whole <= end - stretch.offset)
            stretch.size = whole;
    for (Span part : betweenHoles(bytes, stretch, habits)) {
        if (habits.stride > 0)
            part = takeRow(bytes, part, habits, pieces);
        for (const Span &piece : soundIn(bytes, part, habits))
            pieces.push_back(piece);
    }
    return pieces;
}
