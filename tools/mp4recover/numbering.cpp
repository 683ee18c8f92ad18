#include "numbering.h"

#include <algorithm>
#include <array>
#include <map>

namespace {

constexpr std::int32_t largestReorderedStep = 8;
constexpr std::uint32_t bitsAvailable = 32;
constexpr int fewestBits = 4;
constexpr int mostGuessedBits = 12;
constexpr int usualOrderBits = 8;

/// The share of the pictures whose number, read with that width, is the next one of a picture shortly before.
double followingShare(const AccessUnits &found, int bits, std::size_t channelCount)
{
    constexpr std::size_t sampleCount = 2000;
    const std::size_t count = std::min(found.pictures.size(), sampleCount);
    const std::size_t window = 4 * channelCount + 1;
    const std::uint32_t mask = (1U << static_cast<unsigned>(bits)) - 1;
    const auto numberAt = [&](std::size_t index) { return numberOf(found.pictures[index].slice, bits); };
    std::size_t following = 0;
    std::size_t tested = 0;
    for (std::size_t i = 1; i < count; ++i) {
        if (found.pictures[i].slice.restartsCount)
            continue;
        ++tested;
        for (std::size_t back = 1; back <= std::min(i, window); ++back) {
            if (((numberAt(i) - numberAt(i - back)) & mask) == 1) {
                ++following;
                break;
            }
        }
    }
    return tested == 0 ? 0 : static_cast<double>(following) / static_cast<double>(tested);
}

} // namespace

std::uint32_t numberOf(const SliceStart &slice, int bits)
{
    return slice.restartsCount ? 0 : slice.restBits >> (bitsAvailable - static_cast<std::uint32_t>(bits));
}

Numbering::Numbering(VideoCodec codec, int bits, bool isReordered)
    : m_codec(codec)
    , m_bits(static_cast<std::uint8_t>(bits))
    , m_isReordered(isReordered)
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
        return {ahead, false};
    }
    const std::int32_t step = distance(numberOf(slice, m_bits));
    if (step <= 0) {
        const bool isSeen = step > -64 && ((m_seen >> static_cast<unsigned>(-step)) & 1U) != 0;
        const bool isFar = !m_isReordered || step < -2 * largestReorderedStep;
        return {isFar ? static_cast<std::uint32_t>(-step) : 0, isSeen};
    }
    const std::int32_t free = m_isReordered ? largestReorderedStep : 1;
    return {static_cast<std::uint32_t>(std::max(0, step - free)), false};
}

void Numbering::advance(const SliceStart &slice)
{
    const std::uint32_t number = numberOf(slice, m_bits);
    if (m_codec == VideoCodec::H264) {
        m_mark = slice.isReference ? number + 1 : number;
    } else if (slice.restartsCount || !m_hasStarted) {
        m_mark = number;
        m_seen = 1;
    } else if (const std::int32_t step = distance(number); step > 0) {
        m_mark = number;
        m_seen = (step < 64 ? m_seen << static_cast<unsigned>(step) : 0) | 1U;
    } else if (step > -64) {
        m_seen |= std::uint64_t{1} << static_cast<unsigned>(-step);
    }
    m_hasStarted = true;
}

void Numbering::skip(bool restartsCount)
{
    SliceStart slice;
    slice.restartsCount = restartsCount;
    const std::uint32_t next = m_codec == VideoCodec::H264 ? m_mark : m_mark + 1;
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
    for (int bits = mostGuessedBits; bits >= fewestBits; --bits) {
        if (followingShare(found, bits, channelCount) >= good)
            return bits;
    }
    return codec == VideoCodec::H264 ? fewestBits : usualOrderBits;
}

bool isReordered(const AccessUnits &found)
{
    const auto backward =
        std::count_if(found.pictures.begin(), found.pictures.end(),
                      [](const AccessUnit &picture) { return picture.slice.sliceType == 1; });
    return static_cast<std::size_t>(backward) * 20 > found.pictures.size();
}
