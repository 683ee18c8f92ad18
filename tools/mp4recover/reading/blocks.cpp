#include "reading/blocks.h"

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

std::vector<ClockReading> clockOf(const std::vector<Block> &blocks)
{
    std::vector<ClockReading> readings;
    for (const Block &block : blocks)
        if (block.second)
            readings.push_back({block.offset, *block.second, block.kind == Block::Kind::Position});
    return readings;
}
