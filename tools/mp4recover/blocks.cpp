#include "blocks.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <string_view>

namespace {

constexpr std::uint64_t tagSize = 3;
constexpr std::uint64_t headerSize = 8;
constexpr std::uint32_t maximumText = 4096;
constexpr std::uint32_t smallestAcceleration = 15;
constexpr std::size_t accelerationsPerSecond = 10;
constexpr std::uint32_t largestAcceleration = 512;

std::optional<Block::Kind> kindAt(const std::uint8_t *bytes)
{
    if (std::memcmp(bytes, "DAT", tagSize) == 0)
        return Block::Kind::Channels;
    if (std::memcmp(bytes, "GPS", tagSize) == 0)
        return Block::Kind::Position;
    if (std::memcmp(bytes, "SHO", tagSize) == 0)
        return Block::Kind::Acceleration;
    return std::nullopt;
}

std::optional<std::uint32_t> digits(std::string_view text)
{
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

std::string_view textOf(Bytes bytes) { return {reinterpret_cast<const char *>(bytes.data()), bytes.size()}; }

/// Days from the first of January 1970 of a day of the Gregorian calendar.
std::int64_t daysOf(std::int64_t year, unsigned month, unsigned day)
{
    const std::int64_t marchYear = month <= 2 ? year - 1 : year;
    const std::int64_t era = marchYear / 400;
    const auto yearOfEra = static_cast<unsigned>(marchYear - era * 400);
    const unsigned dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

std::optional<std::int64_t> secondsOf(const std::array<unsigned, 6> &fields)
{
    const auto [year, month, day, hour, minute, second] = fields;
    if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 60)
        return std::nullopt;
    return daysOf(2000 + std::int64_t{year}, month, day) * 86400 + hour * 3600 + minute * 60 + second;
}

/// Bytes 7 to 12 of an accelerometer payload: year of the century, month, day, hour, minute, second.
std::optional<std::int64_t> secondOfAcceleration(Bytes payload)
{
    return secondsOf({payload[7], payload[8], payload[9], payload[10], payload[11], payload[12]});
}

/// An RMC sentence: the second field is hhmmss.s, the tenth ddmmyy.
std::optional<std::int64_t> secondOfPosition(std::string_view sentence)
{
    std::array<std::string_view, 10> fields;
    for (std::string_view &field : fields) {
        const std::size_t comma = sentence.find(',');
        field = sentence.substr(0, comma);
        sentence.remove_prefix(comma == std::string_view::npos ? sentence.size() : comma + 1);
    }
    const std::string_view time = fields[1];
    const std::string_view date = fields[9];
    if (time.size() < 6 || date.size() != 6)
        return std::nullopt;
    std::array<unsigned, 6> numbers{};
    const std::array<std::string_view, 6> texts{date.substr(4, 2), date.substr(2, 2), date.substr(0, 2),
                                                time.substr(0, 2), time.substr(2, 2), time.substr(4, 2)};
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const auto number = digits(texts[i]);
        if (!number)
            return std::nullopt;
        numbers[i] = *number;
    }
    return secondsOf(numbers);
}

bool isText(Bytes payload)
{
    return std::all_of(payload.begin(), payload.end(),
                       [](std::uint8_t byte) { return byte < 0x7f && (byte >= 0x20 || byte < 0x10); });
}

bool fits(Block::Kind kind, Bytes payload)
{
    switch (kind) {
    case Block::Kind::Channels:
        return payload.size() <= maximumText && isText(payload)
            && textOf(payload).find("vid:[") != std::string_view::npos;
    case Block::Kind::Position: return !payload.empty() && payload.size() <= maximumText && isText(payload);
    case Block::Kind::Acceleration:
        return payload.size() >= smallestAcceleration && payload.size() <= largestAcceleration;
    }
    return false;
}

std::optional<ChannelRequest> channelOf(std::string_view piece)
{
    std::array<int, 3> numbers{};
    for (int &number : numbers) {
        const std::size_t dot = piece.find('.');
        const auto value = digits(piece.substr(0, dot));
        if (!value || *value < 1 || *value > 16384)
            return std::nullopt;
        number = static_cast<int>(*value);
        piece.remove_prefix(dot == std::string_view::npos ? piece.size() : dot + 1);
    }
    if (!piece.empty())
        return std::nullopt;
    return ChannelRequest{numbers[0], numbers[1], numbers[2]};
}

/// Blocks of that kind that carry a time.
std::vector<const Block *> timed(const std::vector<Block> &blocks, Block::Kind kind)
{
    std::vector<const Block *> found;
    for (const Block &block : blocks) {
        if (block.kind == kind && block.second)
            found.push_back(&block);
    }
    return found;
}

/// Readings of one second.
struct Run {
    std::size_t first = 0;
    std::size_t count = 0;
};

using Readings = std::vector<const Block *>;

std::uint64_t distance(const Readings &readings, std::size_t i)
{
    return readings[i]->offset - readings[i - 1]->offset;
}

/// How many readings were lost before this one, by the bytes that were lost there.
std::size_t lostBefore(const Readings &readings, std::size_t i, const std::vector<Span> &losses,
                       std::uint64_t usualDistance)
{
    std::uint64_t lost = 0;
    for (const Span &loss : losses)
        if (loss.offset >= readings[i - 1]->offset && loss.end() <= readings[i]->offset)
            lost += loss.size;
    return static_cast<std::size_t>((lost + usualDistance / 2) / std::max<std::uint64_t>(usualDistance, 1));
}

/// The readings' places among the `spread` of their second. What is missing in a whole second was lost in the
/// widest gap; the first and the last second may just be there in part.
std::vector<std::size_t> placesOf(const Readings &readings, const Run &run, std::size_t spread,
                                  const std::vector<Span> &losses, std::uint64_t usualDistance)
{
    const std::size_t end = run.first + run.count;
    const bool isFirst = run.first == 0;
    const bool isLast = end == readings.size();
    std::size_t missing = spread - run.count;
    std::vector<std::size_t> places(run.count, 0);
    if (!isFirst && !isLast) {
        std::size_t widest = run.first;
        for (std::size_t i = run.first + 1; i <= end; ++i)
            if (distance(readings, i) > distance(readings, widest))
                widest = i;
        for (std::size_t i = 0; i < run.count; ++i)
            places[i] = i + (run.first + i < widest ? 0 : missing);
        return places;
    }
    for (std::size_t i = 1; i < run.count; ++i) {
        const std::size_t lost =
            std::min(missing, lostBefore(readings, run.first + i, losses, usualDistance));
        missing -= lost;
        places[i] = places[i - 1] + 1 + lost;
    }
    if (isFirst && !isLast)
        for (std::size_t &place : places)
            place += missing;
    return places;
}

std::uint64_t usualDistanceOf(const Readings &readings)
{
    std::vector<std::uint64_t> distances;
    for (std::size_t i = 1; i < readings.size(); ++i)
        distances.push_back(distance(readings, i));
    if (distances.empty())
        return 0;
    const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
    std::nth_element(distances.begin(), middle, distances.end());
    return *middle;
}

} // namespace

std::optional<Block> blockAt(Bytes bytes, std::uint64_t offset)
{
    if (offset + headerSize > bytes.size())
        return std::nullopt;
    const auto kind = kindAt(bytes.data() + offset);
    if (!kind)
        return std::nullopt;
    const auto length = digits(textOf(bytes.subspan(offset + tagSize, headerSize - tagSize)));
    if (!length || offset + headerSize + *length > bytes.size())
        return std::nullopt;
    const Bytes payload = bytes.subspan(offset + headerSize, *length);
    if (!fits(*kind, payload))
        return std::nullopt;
    Block block{offset, static_cast<std::uint32_t>(headerSize + *length), *kind, {}};
    if (*kind == Block::Kind::Acceleration)
        block.second = secondOfAcceleration(payload);
    else if (*kind == Block::Kind::Position)
        block.second = secondOfPosition(textOf(payload));
    return block;
}

std::vector<ChannelRequest> channelsOf(Bytes bytes, const Block &block)
{
    std::string_view text = textOf(bytes.subspan(block.offset + headerSize, block.size - headerSize));
    text.remove_prefix(std::min(text.size(), text.find("vid:[")));
    text.remove_prefix(std::min(text.size(), text.find(']')));
    if (text.empty())
        return {};
    text = text.substr(1, text.find_first_not_of("0123456789.:", 1) - 1);
    std::vector<ChannelRequest> channels;
    while (!text.empty()) {
        const std::size_t colon = text.find(':');
        if (const auto channel = channelOf(text.substr(0, colon)))
            channels.push_back(*channel);
        text.remove_prefix(colon == std::string_view::npos ? text.size() : colon + 1);
    }
    return channels;
}

std::vector<ClockMark> clockOf(const std::vector<Block> &blocks, const std::vector<Span> &losses)
{
    Readings readings = timed(blocks, Block::Kind::Acceleration);
    if (readings.empty())
        readings = timed(blocks, Block::Kind::Position);
    if (readings.empty())
        return {};

    std::vector<Run> runs;
    for (std::size_t i = 0; i < readings.size(); ++i) {
        if (runs.empty() || readings[i]->second != readings[i - 1]->second)
            runs.push_back({i, 0});
        ++runs.back().count;
    }
    // The first and the last second are there in part only, and any other may have lost readings.
    std::size_t usual = 1;
    for (const Run &run : runs)
        usual = std::max(usual, run.count);
    constexpr std::size_t plausiblePart = 4;
    if (usual >= plausiblePart)
        usual = std::max(usual, accelerationsPerSecond);

    const std::uint64_t usualDistance = usualDistanceOf(readings);
    std::vector<ClockMark> marks;
    for (const Run &run : runs) {
        const std::size_t spread = std::max(run.count, usual);
        const std::vector<std::size_t> places = placesOf(readings, run, spread, losses, usualDistance);
        for (std::size_t i = 0; i < run.count; ++i) {
            const Block &block = *readings[run.first + i];
            const double fraction = static_cast<double>(places[i]) / static_cast<double>(spread);
            marks.push_back({block.offset, static_cast<double>(*block.second) + fraction});
        }
    }
    const double start = marks.front().seconds;
    for (ClockMark &mark : marks)
        mark.seconds -= start;
    return marks;
}
