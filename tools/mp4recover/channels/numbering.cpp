#include "channels/numbering.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>

namespace {

constexpr std::int32_t largestReorderStep = 8;
constexpr std::int32_t bitsSeen = 64;
constexpr std::uint32_t bitsAvailable = 32;
constexpr int fewestBits = 4;
constexpr int mostGuessedBits = 16;
constexpr int mostOrderBits = 16; // that there can be in H.265
constexpr int usualOrderBits = 8;

/// The share of the pictures whose number, read with that width, is the next one of a picture shortly before;
/// if they `mayGoBack`, the next one or the one before of a picture nearby.
double followingShare(const AccessUnits &found, int bits, std::size_t channelCount, bool mayGoBack)
{
    constexpr std::size_t sampleCount = 2000;
    const std::size_t count = std::min(found.pictures.size(), sampleCount);
    const std::size_t window = 4 * channelCount + 1;
    const std::uint32_t mask = (1U << static_cast<unsigned>(bits)) - 1;
    const auto follows = [&](std::size_t later, std::size_t earlier) {
        const std::uint32_t step =
            (numberOf(found.pictures[later].slice, bits) - numberOf(found.pictures[earlier].slice, bits))
            & mask;
        return step == 1 || (mayGoBack && step == mask);
    };
    std::size_t following = 0;
    std::size_t tested = 0;
    for (std::size_t i = 1; i < count; ++i) {
        if (found.pictures[i].slice.restartsCount)
            continue;
        ++tested;
        bool isAny = false;
        for (std::size_t away = 1; away <= window && !isAny; ++away)
            isAny = (away <= i && follows(i, i - away))
                || (mayGoBack && i + away < count && follows(i + away, i));
        following += isAny ? 1U : 0U;
    }
    return tested == 0 ? 0 : static_cast<double>(following) / static_cast<double>(tested);
}

} // namespace

std::uint32_t numberOf(const SliceStart &slice, int bits)
{
    return slice.restartsCount ? 0 : slice.restBits >> (bitsAvailable - static_cast<unsigned>(bits));
}

Numbering::Numbering(VideoCodec codec, int bits, int reorderStep)
    : m_codec(codec)
    , m_bits(static_cast<std::uint8_t>(bits))
    , m_reorderStep(static_cast<std::uint8_t>(std::clamp(reorderStep, 1, largestReorderStep)))
{
}

/// From the mark, in the shorter direction.
std::int32_t Numbering::distance(std::uint32_t number) const
{
    const std::uint32_t modulus = 1U << m_bits;
    const std::uint32_t ahead = (number - m_mark) & (modulus - 1);
    return ahead < modulus / 2 ? static_cast<std::int32_t>(ahead)
                               : static_cast<std::int32_t>(ahead) - static_cast<std::int32_t>(modulus);
}

Numbering::Fit Numbering::fit(const SliceStart &slice) const
{
    if (slice.restartsCount || !m_hasStarted)
        return {};
    if (m_codec == VideoCodec::H264) {
        const std::uint32_t ahead = (numberOf(slice, m_bits) - m_mark) & ((1U << m_bits) - 1);
        return {ahead, false, false};
    }
    return fitOrder(numberOf(slice, m_bits));
}

/// A picture that others are shown before stands before all of them, and they before the next such picture.
Numbering::Fit Numbering::fitOrder(std::uint32_t number) const
{
    const std::int32_t step = distance(number);
    if (step > 0) {
        const std::int32_t lost = std::popcount(openNumbers()) + std::max(0, step - m_reorderStep);
        return {static_cast<std::uint32_t>(lost), false, false};
    }
    const auto back = static_cast<unsigned>(-step);
    if (step > -bitsSeen && ((openNumbers() >> back) & 1U) != 0)
        return {};
    const bool isSeen = step > -largestReorderStep && ((m_seen >> back) & 1U) != 0;
    return {number, isSeen, true};
}

/// Bit i for each number m_mark - i that should follow.
std::uint64_t Numbering::openNumbers() const
{
    return m_behind < bitsSeen ? ~m_seen & ((std::uint64_t{1} << m_behind) - 1) : 0;
}

void Numbering::advance(const SliceStart &slice)
{
    const std::uint32_t number = numberOf(slice, m_bits);
    if (m_codec == VideoCodec::H264) {
        m_mark = slice.isReference ? number + 1 : number;
    } else if (slice.restartsCount || !m_hasStarted || fitOrder(number).isBehindRestart) {
        m_mark = number;
        m_seen = 1;
        m_behind = 0;
    } else if (const std::int32_t step = distance(number); step > 0) {
        m_mark = number;
        m_seen = (step < bitsSeen ? m_seen << static_cast<unsigned>(step) : 0) | 1U;
        // Farther behind than that it has nothing to do with this picture.
        m_behind = static_cast<std::uint8_t>(std::min<std::int32_t>(step, m_reorderStep));
    } else {
        m_seen |= std::uint64_t{1} << static_cast<unsigned>(-step);
    }
    m_hasStarted = true;
}

void Numbering::skip(bool restartsCount)
{
    SliceStart slice;
    slice.restartsCount = restartsCount;
    std::uint32_t next = m_mark;
    if (m_codec == VideoCodec::H265) {
        const std::uint64_t open = openNumbers();
        next = open != 0 ? m_mark - static_cast<std::uint32_t>(std::bit_width(open) - 1)
                         : m_mark + m_reorderStep;
    }
    slice.restBits = next << (bitsAvailable - m_bits);
    advance(slice);
}

int counterBitsOf(VideoCodec codec, const AccessUnits &found, std::size_t channelCount)
{
    std::map<int, std::size_t> told;
    for (const AccessUnit &picture : found.pictures) {
        if (picture.setsId != 0 && found.sets[picture.setsId - 1U].counterBits != 0)
            ++told[found.sets[picture.setsId - 1U].counterBits];
    }
    if (!told.empty())
        return std::max_element(told.begin(), told.end(),
                                [](const auto &a, const auto &b) { return a.second < b.second; })
            ->first;
    // A number that is read too short follows as well, so the longest of the good ones is right.
    constexpr double good = 0.8;
    const bool mayGoBack = codec == VideoCodec::H265;
    for (int bits = mayGoBack ? mostOrderBits : mostGuessedBits; bits >= fewestBits; --bits) {
        if (followingShare(found, bits, channelCount, mayGoBack) >= good)
            return bits;
    }
    return codec == VideoCodec::H264 ? fewestBits : usualOrderBits;
}

int reorderStepOf(VideoCodec codec, const AccessUnits &found, int counterBits, std::size_t channelCount)
{
    constexpr double fewest = 0.05;
    constexpr double all = 0.95; // of them predicted from two sides: low delay has no others
    constexpr double inOrder = 0.9;
    std::size_t backward = 0;
    std::size_t predicted = 0;
    for (const AccessUnit &picture : found.pictures) {
        backward += picture.slice.sliceType == 1 ? 1U : 0U;
        predicted += picture.slice.sliceType != 2 ? 1U : 0U;
    }
    const double share =
        static_cast<double>(backward) / static_cast<double>(std::max<std::size_t>(1, predicted));
    const auto isInOrder = [&] { return followingShare(found, counterBits, channelCount, false) > inOrder; };
    if (codec == VideoCodec::H264 || share < fewest || (share > all && isInOrder()))
        return 1;
    // Two of three pictures are such: it grows by three.
    return static_cast<int>(
        std::lround(std::min<double>(largestReorderStep, 1 / std::max(1 - share, fewest))));
}
