#include "sets/decoderconfig.h"

#include "reading/bitreader.h"

#include <algorithm>

namespace {

using Record = std::vector<std::uint8_t>;
constexpr unsigned lengthSize = 4;

void append16(Record &record, std::size_t value)
{
    record.push_back(static_cast<std::uint8_t>(value >> 8U));
    record.push_back(static_cast<std::uint8_t>(value));
}

/// Those of the type that a 16-bit length can hold.
std::vector<const ParameterSet *> ofType(VideoCodec codec, const std::vector<ParameterSet> &sets,
                                         unsigned type, std::size_t limit)
{
    constexpr std::size_t longest = 0xffff;
    std::vector<const ParameterSet *> chosen;
    for (const ParameterSet &set : sets) {
        if (set.empty())
            continue;
        const unsigned own = codec == VideoCodec::H264 ? set[0] & 0x1fU : (set[0] >> 1U) & 0x3fU;
        if (own == type && set.size() <= longest && chosen.size() < limit)
            chosen.push_back(&set);
    }
    return chosen;
}

void appendSets(Record &record, const std::vector<const ParameterSet *> &sets)
{
    for (const ParameterSet *set : sets) {
        append16(record, set->size());
        record.insert(record.end(), set->begin(), set->end());
    }
}

Record h264Configuration(const std::vector<ParameterSet> &sets)
{
    const auto sequences = ofType(VideoCodec::H264, sets, 7, 31);
    const auto pictures = ofType(VideoCodec::H264, sets, 8, 255);
    const ParameterSet &first = *sequences.front();
    Record record{1, first[1], first[2], first[3], 0xfc | (lengthSize - 1)};
    record.push_back(static_cast<std::uint8_t>(0xe0U | sequences.size()));
    appendSets(record, sequences);
    record.push_back(static_cast<std::uint8_t>(pictures.size()));
    appendSets(record, pictures);
    const auto sequence = parseH264Sequence(first);
    if (sequence && sequence->profile != 66 && sequence->profile != 77 && sequence->profile != 88) {
        record.push_back(static_cast<std::uint8_t>(0xfc | sequence->chromaFormat));
        record.insert(record.end(), {0xf8, 0xf8, 0}); // 8 bits a sample, no extensions
    }
    return record;
}

Record h265Configuration(const std::vector<ParameterSet> &sets)
{
    const auto sequences = ofType(VideoCodec::H265, sets, 33, 16);
    const auto sequence = parseH265Sequence(*sequences.front());
    BitReader reader(*sequences.front());
    reader.skip(16 + 4 + 3 + 1);
    Record record{1};
    for (int i = 0; i < 12; ++i) // profile, compatibility, constraints, level
        record.push_back(static_cast<std::uint8_t>(reader.bits(8)));
    record.insert(record.end(), {0xf0, 0x00, 0xfc});
    record.push_back(static_cast<std::uint8_t>(0xfc | (sequence ? sequence->chromaFormat : 1)));
    record.insert(record.end(), {0xf8, 0xf8, 0, 0, 0x0c | (lengthSize - 1), 3});
    for (const unsigned type : {32U, 33U, 34U}) {
        const auto chosen = ofType(VideoCodec::H265, sets, type, 64);
        record.push_back(static_cast<std::uint8_t>(0x80U | type)); // complete
        append16(record, chosen.size());
        appendSets(record, chosen);
    }
    return record;
}

} // namespace

std::vector<std::uint8_t> decoderConfiguration(VideoCodec codec, const std::vector<ParameterSet> &sets)
{
    const unsigned sequenceType = codec == VideoCodec::H264 ? 7 : 33;
    if (ofType(codec, sets, sequenceType, 1).empty())
        return {};
    return codec == VideoCodec::H264 ? h264Configuration(sets) : h265Configuration(sets);
}
