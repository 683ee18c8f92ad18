#include "reading/unitheader.h"

#include "reading/bitreader.h"
#include "sets/parametersets.h"

#include <algorithm>

namespace {

constexpr std::uint32_t maximumMacroblocks = 139264; // of level 6.2
constexpr std::uint32_t maximumH264Sets = 256;
constexpr std::uint32_t maximumH265Sets = 64;

enum H264Type {
    Slice = 1,
    IdrSlice = 5,
    Message = 6,
    Sequence,
    PictureOf,
    Delimiter,
    SequenceEnd,
    StreamEnd,
    Filler
};
enum H265Type {
    LastTrailing = 9,
    FirstRandomAccess = 16,
    LastIdr = 20,
    LastRandomAccess = 21,
    Video265 = 32,
    Sequence265,
    Picture265,
    Delimiter265,
    SequenceEnd265,
    StreamEnd265,
    Filler265,
    PrefixMessage,
    SuffixMessage
};

std::optional<UnitKind> kindOfH264(std::uint8_t header)
{
    const bool isReference = (header & 0x60U) != 0;
    const auto unless = [](bool isWrong, UnitKind kind) {
        return isWrong ? std::nullopt : std::optional(kind);
    };
    if ((header & 0x80U) != 0)
        return std::nullopt;
    switch (header & 0x1fU) {
    case H264Type::Slice: return UnitKind::Slice;
    case H264Type::IdrSlice: return unless(!isReference, UnitKind::Slice);
    case H264Type::Message: return unless(isReference, UnitKind::Message);
    case H264Type::Sequence: return unless(!isReference, UnitKind::SequenceSet);
    case H264Type::PictureOf: return unless(!isReference, UnitKind::PictureSet);
    case H264Type::Delimiter: return unless(isReference, UnitKind::Delimiter);
    case H264Type::SequenceEnd:
    case H264Type::StreamEnd: return unless(isReference, UnitKind::End);
    case H264Type::Filler: return unless(isReference, UnitKind::Filler);
    default: return std::nullopt;
    }
}

std::optional<UnitKind> kindOfH265(const std::uint8_t *unit)
{
    const unsigned type = unit[0] >> 1U;
    const unsigned temporalIdPlus1 = unit[1];
    // The layer's id is 0; all but trailing pictures belong to the lowest sub-layer.
    if ((unit[0] & 0x81U) != 0 || temporalIdPlus1 < 1 || temporalIdPlus1 > 7)
        return std::nullopt;
    if (type <= H265Type::LastTrailing)
        return UnitKind::Slice;
    if (type == H265Type::PrefixMessage || type == H265Type::SuffixMessage)
        return UnitKind::Message;
    if (type == H265Type::Filler265)
        return UnitKind::Filler;
    if (type == H265Type::Delimiter265)
        return UnitKind::Delimiter;
    if (temporalIdPlus1 != 1)
        return std::nullopt;
    if (type >= H265Type::FirstRandomAccess && type <= H265Type::LastRandomAccess)
        return UnitKind::Slice;
    switch (type) {
    case H265Type::Video265: return UnitKind::VideoSet;
    case H265Type::Sequence265: return UnitKind::SequenceSet;
    case H265Type::Picture265: return UnitKind::PictureSet;
    case H265Type::SequenceEnd265:
    case H265Type::StreamEnd265: return UnitKind::End;
    default: return std::nullopt;
    }
}

std::optional<SliceStart> h264Slice(Bytes unit)
{
    BitReader reader(unit.subspan(1));
    SliceStart slice;
    slice.isSync = (unit[0] & 0x1fU) == H264Type::IdrSlice;
    slice.restartsCount = slice.isSync;
    slice.isReference = (unit[0] & 0x60U) != 0;
    slice.firstBlock = reader.unsignedGolomb();
    slice.isFirst = slice.firstBlock == 0;
    const std::uint32_t sliceType = reader.unsignedGolomb();
    const std::uint32_t pictureSet = reader.unsignedGolomb();
    if (!reader.isGood() || slice.firstBlock >= maximumMacroblocks || sliceType > 9 || sliceType % 5 > 2
        || pictureSet >= maximumH264Sets || (slice.isSync && sliceType % 5 != 2))
        return std::nullopt;
    slice.sliceType = static_cast<std::uint8_t>(sliceType % 5);
    slice.pictureSetId = static_cast<std::uint8_t>(pictureSet);
    slice.restBits = reader.bits(32);
    return slice;
}

/// Slice types are B, P, I here.
std::optional<SliceStart> h265Slice(Bytes unit)
{
    const unsigned type = unit[0] >> 1U;
    BitReader reader(unit.subspan(2));
    SliceStart slice;
    slice.isSync = type >= H265Type::FirstRandomAccess;
    slice.restartsCount = type == H265Type::LastIdr || type == H265Type::LastIdr - 1;
    slice.isReference = slice.isSync || (type & 1U) != 0;
    slice.isFirst = reader.flag();
    slice.firstBlock = slice.isFirst ? 0 : 1;
    if (slice.isSync)
        reader.skip(1);
    const std::uint32_t pictureSet = reader.unsignedGolomb();
    if (!reader.isGood() || pictureSet >= maximumH265Sets)
        return std::nullopt;
    slice.pictureSetId = static_cast<std::uint8_t>(pictureSet);
    slice.sliceType = 3;
    if (!slice.isFirst)
        return slice;
    const std::uint32_t sliceType = reader.unsignedGolomb();
    if (sliceType > 2 || (slice.isSync && sliceType != 2))
        return std::nullopt;
    slice.sliceType = sliceType == 0 ? 1 : sliceType == 1 ? 0 : 2;
    slice.restBits = reader.bits(32);
    return slice;
}

/// A number written as so many bytes of 255 and a rest.
std::optional<std::size_t> longNumber(Bytes payload, std::size_t &at)
{
    std::size_t number = 0;
    while (at < payload.size()) {
        const std::uint8_t byte = payload[at++];
        number += byte;
        if (byte != 0xff)
            return number;
    }
    return std::nullopt;
}

/// Type, size and payload, one or several times, then the stop bit. Payloads with emulation prevention bytes
/// seem longer than they say, by at most those bytes.
bool isMessage(Bytes payload)
{
    constexpr std::size_t highestType = 220;
    std::size_t at = 0;
    while (at + 2 < payload.size()) {
        const auto type = longNumber(payload, at);
        const auto size = longNumber(payload, at);
        if (!type || *type > highestType || !size || *size >= payload.size() - at)
            return false;
        const std::size_t begin = at;
        at += *size;
        for (std::size_t i = begin; i + 2 < at && at + 1 < payload.size(); ++i) {
            if (payload[i] == 0 && payload[i + 1] == 0 && payload[i + 2] == 3)
                ++at;
        }
    }
    return at + 1 == payload.size() && payload[at] == 0x80;
}

bool isFiller(Bytes payload)
{
    return payload.size() >= 2 && payload.back() == 0x80
        && std::all_of(payload.begin(), payload.end() - 1, [](std::uint8_t byte) { return byte == 0xff; });
}

bool isSet(VideoCodec codec, UnitKind kind, Bytes unit)
{
    if (unit.size() > maximumSetSize)
        return false;
    const bool isH264 = codec == VideoCodec::H264;
    switch (kind) {
    case UnitKind::VideoSet: return parseH265Video(unit).has_value();
    case UnitKind::SequenceSet:
        return isH264 ? parseH264Sequence(unit).has_value() : parseH265Sequence(unit).has_value();
    default: return isH264 ? parseH264Picture(unit).has_value() : parseH265Picture(unit).has_value();
    }
}

} // namespace

std::optional<UnitKind> kindOf(VideoCodec codec, const std::uint8_t *unit)
{
    return codec == VideoCodec::H264 ? kindOfH264(unit[0]) : kindOfH265(unit);
}

std::uint8_t typeOf(VideoCodec codec, const std::uint8_t *unit)
{
    return static_cast<std::uint8_t>(codec == VideoCodec::H264 ? unit[0] & 0x1fU : (unit[0] >> 1U) & 0x3fU);
}

std::optional<SliceStart> sliceStartOf(VideoCodec codec, Bytes unit)
{
    constexpr std::size_t enough = 32;
    if (unit.size() < 3)
        return std::nullopt;
    unit = unit.first(std::min(unit.size(), enough));
    return codec == VideoCodec::H264 ? h264Slice(unit) : h265Slice(unit);
}

bool isWellFormed(VideoCodec codec, UnitKind kind, Bytes unit)
{
    const std::size_t header = codec == VideoCodec::H264 ? 1 : 2;
    if (unit.size() < header)
        return false;
    const Bytes payload = unit.subspan(header);
    switch (kind) {
    case UnitKind::Slice: return false;
    case UnitKind::Message: return payload.size() <= maximumMessageSize && isMessage(payload);
    case UnitKind::Delimiter: return payload.size() == 1 && (payload[0] & 0x1fU) == 0x10;
    case UnitKind::Filler: return isFiller(payload);
    case UnitKind::End: return payload.empty();
    default: return isSet(codec, kind, unit);
    }
}
