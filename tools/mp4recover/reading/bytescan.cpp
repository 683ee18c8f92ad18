#include "reading/bytescan.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

// Compiled for the machine it runs on: with the wider registers of newer processors the search takes half the
// time. All that it calls must become part of it for that, hence the attribute.
#if defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__) && !defined(__clang__)
#define FOR_EACH_PROCESSOR __attribute__((target_clones("avx2", "default")))
#else
#define FOR_EACH_PROCESSOR
#endif

using Lanes = std::uint8_t __attribute__((vector_size(32)));
constexpr std::uint64_t groupSize = 2 * sizeof(Lanes);

[[gnu::always_inline]] inline void load(Lanes &lanes, const std::uint8_t *bytes)
{
    std::memcpy(&lanes, bytes, sizeof lanes);
}

/// Adds the places where any of the hits may begin; the scalar tests below have the last word.
[[gnu::always_inline]] inline void addSuspects(Lanes &hits, const std::uint8_t *bytes)
{
    Lanes first;
    Lanes second;
    Lanes third;
    Lanes fifth;
    Lanes sixth;
    load(first, bytes);
    load(second, bytes + 1);
    load(third, bytes + 2);
    load(fifth, bytes + 4);
    load(sixth, bytes + 5);
    const auto tag = ((first == 'D') | (first == 'G') | (first == 'S') | (first == 'm'))
        & ((second == 'A') | (second == 'P') | (second == 'H') | (second == 'o'))
        & ((third == 'T') | (third == 'S') | (third == 'O') | (third == 'o'));
    const Lanes h264Type = fifth & 0x9f;
    const auto h264 = (h264Type == 1) | (Lanes(h264Type - 5) <= 7);
    const auto h265 = ((fifth & 0x81) == 0) & (Lanes(sixth - 1) <= 6);
    const auto unit = (first == 0) & (second < 0x40) & (h264 | h265);
    const auto forbidden = (first == 0) & (second == 0) & (third <= 2);
    const auto sound = (first == 0xff) & ((second & 0xe6) == 0xe2) & ((third & 0xf0) != 0xf0);
    hits |= Lanes(tag | unit | forbidden | sound);
}

/// Whether a hit may begin within the group; it looks at scanReach bytes behind it.
[[gnu::always_inline]] inline bool isSuspect(const std::uint8_t *bytes)
{
    Lanes hits{};
    addSuspects(hits, bytes);
    addSuspects(hits, bytes + sizeof hits);
    std::array<std::uint64_t, 4> words;
    static_assert(sizeof words == sizeof hits);
    std::memcpy(words.data(), &hits, sizeof hits);
    return (words[0] | words[1] | words[2] | words[3]) != 0;
}

/// The first group at or behind the position that holds a suspect; the limit's group if none does.
FOR_EACH_PROCESSOR std::uint64_t nextSuspect(const std::uint8_t *bytes, std::uint64_t at, std::uint64_t limit)
{
    while (at + groupSize <= limit && !isSuspect(bytes + at))
        at += groupSize;
    return at;
}

bool isTag(const std::uint8_t *bytes)
{
    return std::memcmp(bytes, "DAT", 3) == 0 || std::memcmp(bytes, "GPS", 3) == 0
        || std::memcmp(bytes, "SHO", 3) == 0 || std::memcmp(bytes, "moov", 4) == 0;
}

bool isUnitStart(const std::uint8_t *bytes)
{
    if (bytes[0] != 0 || bytes[1] >= 0x40)
        return false;
    const unsigned h264Type = bytes[4] & 0x9fU;
    return h264Type == 1 || (h264Type >= 5 && h264Type <= 12)
        || ((bytes[4] & 0x81U) == 0 && bytes[5] >= 1 && bytes[5] <= 7);
}

bool isForbidden(const std::uint8_t *bytes) { return bytes[0] == 0 && bytes[1] == 0 && bytes[2] <= 2; }

bool isSoundHeader(const std::uint8_t *bytes)
{
    return bytes[0] == 0xff && (bytes[1] & 0xe6U) == 0xe2 && (bytes[2] & 0xf0U) != 0xf0
        && (bytes[2] & 0xf0U) != 0 && (bytes[2] & 0x0cU) != 0x0c;
}

void addForbidden(std::uint64_t at, std::vector<Span> &forbidden)
{
    if (!forbidden.empty() && forbidden.back().end() == at)
        ++forbidden.back().size;
    else
        forbidden.push_back({at, 1});
}

/// The bytes from `at` on, of which at least scanReach can be read.
void test(const std::uint8_t *bytes, std::uint64_t at, ScanHits &hits)
{
    switch (bytes[0]) {
    case 0:
        if (isUnitStart(bytes))
            hits.unitStarts.push_back(at);
        if (isForbidden(bytes))
            addForbidden(at, hits.forbidden);
        break;
    case 0xff:
        if (isSoundHeader(bytes))
            hits.soundHeaders.push_back(at);
        break;
    case 'D':
    case 'G':
    case 'S':
    case 'm':
        if (isTag(bytes))
            hits.tags.push_back(at);
        break;
    default: break;
    }
}

/// The last bytes of the file, with others behind them that are no hit.
void testAtEnd(Bytes bytes, std::uint64_t at, ScanHits &hits)
{
    std::array<std::uint8_t, scanReach> padded;
    padded.fill(0x80);
    const std::uint64_t count = std::min<std::uint64_t>(scanReach, bytes.size() - at);
    std::memcpy(padded.data(), bytes.data() + at, count);
    test(padded.data(), at, hits);
}

void dropFront(std::vector<std::uint64_t> &places, std::uint64_t offset)
{
    places.erase(places.begin(), std::lower_bound(places.begin(), places.end(), offset));
}

} // namespace

void ScanHits::dropBefore(std::uint64_t offset)
{
    dropFront(tags, offset);
    dropFront(unitStarts, offset);
    dropFront(soundHeaders, offset);
    const auto isBefore = [](const Span &span, std::uint64_t place) { return span.end() <= place; };
    forbidden.erase(forbidden.begin(),
                    std::lower_bound(forbidden.begin(), forbidden.end(), offset, isBefore));
}

std::size_t ScanHits::count() const
{
    return tags.size() + unitStarts.size() + forbidden.size() + soundHeaders.size();
}

void scan(Bytes bytes, std::uint64_t begin, std::uint64_t end, ScanHits &hits)
{
    const std::uint64_t lastWhole = bytes.size() > scanReach ? bytes.size() - scanReach : 0;
    const std::uint64_t limit = std::min(end, lastWhole);
    std::uint64_t at = begin;
    while ((at = nextSuspect(bytes.data(), at, limit)) + groupSize <= limit) {
        for (std::uint64_t i = 0; i < groupSize; ++i)
            test(bytes.data() + at + i, at + i, hits);
        at += groupSize;
    }
    for (; at < limit; ++at)
        test(bytes.data() + at, at, hits);
    for (; at < end; ++at)
        testAtEnd(bytes, at, hits);
}
