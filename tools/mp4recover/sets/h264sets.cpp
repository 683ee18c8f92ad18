#include "sets/parametersets.h"

#include "reading/bitreader.h"
#include "sets/bitwriter.h"

#include <algorithm>
#include <initializer_list>

namespace {

constexpr int sequenceType = 7;
constexpr int pictureType = 8;
constexpr std::uint32_t maxMacroblocks = 1024; // per side: 16384 samples
constexpr int macroblock = 16;
constexpr int extendedSar = 255;

bool isOneOf(int value, std::initializer_list<int> values)
{
    return std::find(values.begin(), values.end(), value) != values.end();
}

bool isKnownProfile(int profile) { return isOneOf(profile, {66, 77, 88, 100, 110, 122, 244, 44}); }
bool isKnownLevel(int level)
{
    return isOneOf(level, {9, 10, 11, 12, 13, 20, 21, 22, 30, 31, 32, 40, 41, 42, 50, 51, 52, 60, 61, 62});
}
/// The profiles whose sequence sets say the chroma format.
bool hasChromaFormat(int profile) { return isOneOf(profile, {100, 110, 122, 244, 44}); }

/// Reads ue(v); a value above `limit` spoils `isSound`.
int limited(BitReader &reader, std::uint32_t limit, bool &isSound)
{
    const std::uint32_t value = reader.unsignedGolomb();
    if (value > limit) {
        isSound = false;
        return 0;
    }
    return static_cast<int>(value);
}

bool skipScalingList(BitReader &reader, int size)
{
    int last = 8;
    for (int i = 0; i < size; ++i) {
        const std::int32_t delta = reader.signedGolomb();
        if (delta < -128 || delta > 127 || !reader.isGood())
            return false;
        last = (last + delta + 256) % 256;
        if (last == 0)
            break;
    }
    return true;
}

bool skipScalingMatrix(BitReader &reader, int listCount)
{
    constexpr int smallLists = 6;
    for (int i = 0; i < listCount; ++i)
        if (reader.flag() && !skipScalingList(reader, i < smallLists ? 16 : 64))
            return false;
    return true;
}

bool skipBufferModel(BitReader &reader)
{
    bool isSound = true;
    const int count = limited(reader, 31, isSound) + 1;
    reader.skip(4 + 4);
    for (int i = 0; i < count && reader.isGood(); ++i) {
        reader.unsignedGolomb();
        reader.unsignedGolomb();
        reader.bit();
    }
    reader.skip(4 * 5);
    return isSound && reader.isGood();
}

bool readUsability(BitReader &reader, H264Sequence &sequence)
{
    bool isSound = true;
    if (reader.flag() && reader.bits(8) == extendedSar)
        reader.skip(32);
    if (reader.flag()) // overscan
        reader.bit();
    if (reader.flag()) { // video signal
        reader.skip(4);
        if (reader.flag())
            reader.skip(24);
    }
    if (reader.flag()) { // chroma location
        limited(reader, 5, isSound);
        limited(reader, 5, isSound);
    }
    if (reader.flag()) { // timing: a tick is half a frame
        const std::uint32_t ticks = reader.bits(32);
        const std::uint32_t scale = reader.bits(32);
        reader.bit();
        if (ticks != 0)
            sequence.framesPerSecond = scale / (2.0 * ticks);
    }
    const bool hasUnitModel = reader.flag();
    if (hasUnitModel && !skipBufferModel(reader))
        return false;
    const bool hasVideoModel = reader.flag();
    if (hasVideoModel && !skipBufferModel(reader))
        return false;
    if (hasUnitModel || hasVideoModel)
        reader.bit();
    reader.bit(); // pic_struct_present_flag
    if (reader.flag()) { // bitstream restriction
        reader.bit();
        for (const std::uint32_t limit : {16U, 16U, 32U, 32U})
            limited(reader, limit, isSound);
        sequence.maxReorderFrames = limited(reader, 16, isSound);
        limited(reader, 16, isSound);
    }
    return isSound && reader.isGood();
}

bool readOrderType(BitReader &reader, H264Sequence &sequence)
{
    bool isSound = true;
    sequence.orderType = limited(reader, 2, isSound);
    if (sequence.orderType == 0)
        sequence.log2MaxOrderLsb = limited(reader, 12, isSound) + 4;
    if (sequence.orderType == 1) {
        reader.bit();
        reader.signedGolomb();
        reader.signedGolomb();
        const int cycle = limited(reader, 255, isSound);
        for (int i = 0; i < cycle && reader.isGood(); ++i)
            reader.signedGolomb();
    }
    return isSound && reader.isGood();
}

bool readSize(BitReader &reader, H264Sequence &sequence)
{
    bool isSound = true;
    const int columns = limited(reader, maxMacroblocks - 1, isSound) + 1;
    const int rows = limited(reader, maxMacroblocks - 1, isSound) + 1;
    sequence.isFrameOnly = reader.flag();
    if (!sequence.isFrameOnly)
        reader.bit();
    reader.bit(); // direct_8x8_inference_flag
    const int fields = sequence.isFrameOnly ? 1 : 2;
    sequence.codedWidth = columns * macroblock;
    sequence.codedHeight = rows * macroblock * fields;
    sequence.width = sequence.codedWidth;
    sequence.height = sequence.codedHeight;
    if (reader.flag()) {
        const bool isSubsampledAcross = sequence.chromaFormat == 1 || sequence.chromaFormat == 2;
        const int unitX = isSubsampledAcross ? 2 : 1;
        const int unitY = (sequence.chromaFormat == 1 ? 2 : 1) * fields;
        std::array<int, 4> edges{}; // left, right, top, bottom
        for (int &edge : edges)
            edge = limited(reader, maxMacroblocks * macroblock, isSound);
        sequence.width -= unitX * (edges[0] + edges[1]);
        sequence.height -= unitY * (edges[2] + edges[3]);
    }
    return isSound && reader.isGood() && sequence.width > 0 && sequence.height > 0;
}

bool readChroma(BitReader &reader, H264Sequence &sequence)
{
    bool isSound = true;
    sequence.chromaFormat = limited(reader, 3, isSound);
    if (sequence.chromaFormat == 3)
        sequence.hasSeparatePlanes = reader.flag();
    limited(reader, 6, isSound);
    limited(reader, 6, isSound);
    reader.bit();
    if (reader.flag() && !skipScalingMatrix(reader, sequence.chromaFormat == 3 ? 12 : 8))
        return false;
    return isSound && reader.isGood();
}

bool hasType(UnitBytes unit, int type)
{
    constexpr unsigned forbiddenBit = 0x80;
    return unit.size() > 2 && (unit[0] & 0x1fU) == static_cast<unsigned>(type) && (unit[0] & 0x60U) != 0
        && (unit[0] & forbiddenBit) == 0;
}

int levelFor(const H264Guess &guess)
{
    const int macroblocks = ((guess.width + 15) / macroblock) * ((guess.height + 15) / macroblock);
    return macroblocks <= 3600 ? 40 : macroblocks <= 8192 ? 50 : 52;
}

/// Usability information with nothing but how many pictures a decoder holds back.
void writeReordering(BitWriter &writer, const H264Guess &guess)
{
    writer.bits(0, 8); // no aspect ratio .. no pic_struct
    writer.flag(true);
    writer.flag(true);
    for (const int value : {0, 0, 16, 16}) // nothing said of sizes; vectors as long as can be
        writer.unsignedGolomb(static_cast<unsigned>(value));
    writer.unsignedGolomb(static_cast<unsigned>(guess.reorderFrames));
    writer.unsignedGolomb(static_cast<unsigned>(std::max(guess.reorderFrames, guess.maxReferenceFrames)));
}

} // namespace

std::optional<H264Sequence> parseH264Sequence(UnitBytes unit)
{
    if (!hasType(unit, sequenceType))
        return {};
    BitReader reader(unit.subspan(1));
    H264Sequence sequence;
    sequence.profile = static_cast<int>(reader.bits(8));
    sequence.constraints = static_cast<int>(reader.bits(8));
    sequence.level = static_cast<int>(reader.bits(8));
    bool isSound =
        isKnownProfile(sequence.profile) && isKnownLevel(sequence.level) && (sequence.constraints & 3) == 0;
    sequence.id = limited(reader, 31, isSound);
    if (!isSound || (hasChromaFormat(sequence.profile) && !readChroma(reader, sequence)))
        return {};
    sequence.log2MaxFrameNum = limited(reader, 12, isSound) + 4;
    if (!isSound || !readOrderType(reader, sequence))
        return {};
    sequence.maxReferenceFrames = limited(reader, 16, isSound);
    sequence.areGapsAllowed = reader.flag();
    if (!isSound || !readSize(reader, sequence))
        return {};
    if (reader.flag() && !readUsability(reader, sequence))
        return {};
    if (!reader.readTrailingBits())
        return {};
    return sequence;
}

std::optional<H264Picture> parseH264Picture(UnitBytes unit, int chromaFormat)
{
    if (!hasType(unit, pictureType))
        return {};
    BitReader reader(unit.subspan(1));
    bool isSound = true;
    H264Picture picture;
    picture.id = limited(reader, 255, isSound);
    picture.sequenceId = limited(reader, 31, isSound);
    picture.isCabac = reader.flag();
    picture.hasFieldOrder = reader.flag();
    limited(reader, 0, isSound); // slice groups: no decoder at hand knows them
    for (int &count : picture.referenceCounts)
        count = limited(reader, 31, isSound) + 1;
    reader.bit();
    isSound = reader.bits(2) <= 2 && isSound;
    for (const auto &[low, high] : {std::pair{-62, 25}, {-26, 25}, {-12, 12}}) {
        const std::int32_t value = reader.signedGolomb();
        isSound = isSound && value >= low && value <= high;
    }
    reader.skip(3);
    if (!isSound || !reader.isGood())
        return {};
    if (reader.hasMoreData()) {
        picture.hasTransform8x8 = reader.flag();
        const int largeLists = picture.hasTransform8x8 ? (chromaFormat == 3 ? 6 : 2) : 0;
        if (reader.flag() && !skipScalingMatrix(reader, 6 + largeLists))
            return {};
        const std::int32_t chromaQpOffset = reader.signedGolomb();
        if (chromaQpOffset < -12 || chromaQpOffset > 12)
            return {};
    }
    if (!reader.readTrailingBits())
        return {};
    return picture;
}

ParameterSet buildH264Sequence(const H264Guess &guess)
{
    const int fields = guess.isFrameOnly ? 1 : 2;
    const int columns = (guess.width + macroblock - 1) / macroblock;
    const int rowUnit = macroblock * fields;
    const int rows = (guess.height + rowUnit - 1) / rowUnit;
    BitWriter writer;
    writer.bits(0x60 | sequenceType, 8);
    writer.bits(static_cast<unsigned>(guess.profile), 8);
    writer.bits(0, 8);
    writer.bits(static_cast<unsigned>(levelFor(guess)), 8);
    writer.unsignedGolomb(static_cast<unsigned>(guess.sequenceId));
    if (hasChromaFormat(guess.profile)) {
        writer.unsignedGolomb(1);
        writer.unsignedGolomb(0);
        writer.unsignedGolomb(0);
        writer.bits(0, 2);
    }
    writer.unsignedGolomb(static_cast<unsigned>(guess.log2MaxFrameNum - 4));
    writer.unsignedGolomb(static_cast<unsigned>(guess.orderType));
    if (guess.orderType == 0)
        writer.unsignedGolomb(static_cast<unsigned>(guess.log2MaxOrderLsb - 4));
    writer.unsignedGolomb(static_cast<unsigned>(guess.maxReferenceFrames));
    writer.flag(false);
    writer.unsignedGolomb(static_cast<unsigned>(columns - 1));
    writer.unsignedGolomb(static_cast<unsigned>(rows - 1));
    writer.flag(guess.isFrameOnly);
    if (!guess.isFrameOnly)
        writer.flag(false);
    writer.flag(true);
    const int cropRight = (columns * macroblock - guess.width) / 2;
    const int cropBottom = (rows * rowUnit - guess.height) / (2 * fields);
    writer.flag(cropRight > 0 || cropBottom > 0);
    if (cropRight > 0 || cropBottom > 0)
        for (const int edge : {0, cropRight, 0, cropBottom})
            writer.unsignedGolomb(static_cast<unsigned>(edge));
    writer.flag(guess.reorderFrames > 0);
    if (guess.reorderFrames > 0)
        writeReordering(writer, guess);
    return writer.finish();
}

ParameterSet buildH264Picture(const H264Guess &guess)
{
    BitWriter writer;
    writer.bits(0x60 | pictureType, 8);
    writer.unsignedGolomb(static_cast<unsigned>(guess.pictureId));
    writer.unsignedGolomb(static_cast<unsigned>(guess.sequenceId));
    writer.flag(guess.isCabac);
    writer.flag(guess.hasFieldOrder);
    writer.unsignedGolomb(0);
    writer.unsignedGolomb(static_cast<unsigned>(guess.referenceCount - 1));
    writer.unsignedGolomb(0);
    writer.flag(guess.isWeighted);
    writer.bits(static_cast<unsigned>(guess.bipredictionWeights), 2);
    writer.signedGolomb(guess.initialQp - 26);
    writer.signedGolomb(0);
    writer.signedGolomb(guess.chromaQpOffset);
    writer.flag(guess.hasDeblockingControl);
    writer.bits(0, 2);
    if (guess.hasTransform8x8) {
        writer.flag(true);
        writer.flag(false);
        writer.signedGolomb(guess.chromaQpOffset);
    }
    return writer.finish();
}
