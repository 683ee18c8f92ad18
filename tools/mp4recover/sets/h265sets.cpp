#include "sets/parametersets.h"

#include "reading/bitreader.h"

#include <algorithm>

namespace {

constexpr unsigned videoType = 32;
constexpr unsigned sequenceType = 33;
constexpr unsigned pictureType = 34;
constexpr int headerBytes = 2;
constexpr unsigned extendedSar = 255;
constexpr std::uint32_t maxSide = 16384;
constexpr int maxSubLayers = 7;
constexpr std::uint32_t anyValue = 0xfffffffe;

/// Reads on while all is sound.
class Fields
{
public:
    explicit Fields(UnitBytes unit)
        : m_reader(unit.subspan(headerBytes))
    {
    }
    [[nodiscard]] bool isSound() const { return m_isSound && m_reader.isGood(); }
    void require(bool condition) { m_isSound = m_isSound && condition; }
    bool flag() { return m_reader.flag(); }
    int bits(unsigned count) { return static_cast<int>(m_reader.bits(count)); }
    std::uint32_t word() { return m_reader.bits(32); }
    void skip(unsigned count) { m_reader.skip(count); }
    int limited(std::uint32_t limit)
    {
        const std::uint32_t value = m_reader.unsignedGolomb();
        require(value <= limit);
        return m_isSound ? static_cast<int>(value) : 0;
    }
    int limitedSigned(int limit)
    {
        const std::int32_t value = m_reader.signedGolomb();
        require(value >= -limit && value <= limit);
        return m_isSound ? value : 0;
    }
    void skipAny() { limited(anyValue); }
    bool end() { return isSound() && m_reader.readTrailingBits(); }

private:
    BitReader m_reader;
    bool m_isSound = true;
};

bool hasType(UnitBytes unit, unsigned type)
{
    return unit.size() > headerBytes && unit[0] == type << 1U && (unit[1] & 0xf8U) == 0
        && (unit[1] & 7U) != 0;
}

/// profile_tier_level(1, subLayers - 1)
void readProfile(Fields &fields, int subLayers, int &profile, int &level)
{
    fields.skip(2 + 1);
    profile = fields.bits(5);
    fields.skip(32 + 48);
    level = fields.bits(8);
    fields.require(profile >= 1 && profile <= 11 && level > 0 && level % 3 == 0);
    std::array<int, maxSubLayers> present{};
    for (int i = 0; i + 1 < subLayers; ++i)
        present[static_cast<std::size_t>(i)] = fields.bits(2);
    if (subLayers > 1)
        fields.skip(static_cast<unsigned>(2 * (9 - subLayers)));
    for (const int parts : present) {
        if ((parts & 2) != 0)
            fields.skip(88);
        if ((parts & 1) != 0)
            fields.skip(8);
    }
}

/// Gives the number of pictures reordered in the highest sub-layer.
int readOrdering(Fields &fields, int subLayers)
{
    int reordered = 0;
    for (int i = fields.flag() ? 0 : subLayers - 1; i < subLayers; ++i) {
        fields.limited(15);
        reordered = fields.limited(15);
        fields.skipAny();
    }
    return reordered;
}

void skipBufferModelOfSubLayer(Fields &fields, int count, bool hasSubPictures)
{
    for (int i = 0; i < count && fields.isSound(); ++i) {
        for (int j = 0; j < (hasSubPictures ? 4 : 2); ++j)
            fields.skipAny();
        fields.flag();
    }
}

void skipBufferModel(Fields &fields, bool hasCommon, int subLayers)
{
    bool hasUnits = false;
    bool hasVideo = false;
    bool hasSubPictures = false;
    if (hasCommon) {
        hasUnits = fields.flag();
        hasVideo = fields.flag();
        if (hasUnits || hasVideo) {
            hasSubPictures = fields.flag();
            fields.skip((hasSubPictures ? 8 + 5 + 1 + 5 : 0) + 4 + 4 + (hasSubPictures ? 4 : 0) + 5 + 5 + 5);
        }
    }
    for (int i = 0; i < subLayers && fields.isSound(); ++i) {
        const bool isFixed = fields.flag();
        const bool isFixedWithin = isFixed || fields.flag();
        bool isLowDelay = false;
        if (isFixedWithin)
            fields.limited(2047);
        else
            isLowDelay = fields.flag();
        const int count = isLowDelay ? 1 : fields.limited(31) + 1;
        if (hasUnits)
            skipBufferModelOfSubLayer(fields, count, hasSubPictures);
        if (hasVideo)
            skipBufferModelOfSubLayer(fields, count, hasSubPictures);
    }
}

void skipScalingLists(Fields &fields)
{
    for (int size = 0; size < 4; ++size) {
        for (int matrix = 0; matrix < 6 && fields.isSound(); matrix += size == 3 ? 3 : 1) {
            if (!fields.flag()) {
                fields.limited(static_cast<unsigned>(matrix));
                continue;
            }
            if (size > 1)
                fields.limitedSigned(247);
            for (int i = 0; i < std::min(64, 16 << (2 * size)); ++i)
                fields.limitedSigned(128);
        }
    }
}

/// st_ref_pic_set(index); `deltaCounts` holds the number of pictures of each set read so far.
void skipReferenceSet(Fields &fields, int index, std::vector<int> &deltaCounts)
{
    constexpr unsigned maxPictures = 16;
    int count = 0;
    if (index > 0 && fields.flag()) {
        fields.flag();
        fields.limited(32767);
        for (int i = 0; i <= deltaCounts.back(); ++i)
            if (const bool isUsed = fields.flag(); isUsed || fields.flag())
                ++count;
    } else {
        count = fields.limited(maxPictures);
        count += fields.limited(maxPictures);
        for (int i = 0; i < count && fields.isSound(); ++i) {
            fields.limited(32767);
            fields.flag();
        }
    }
    fields.require(count <= static_cast<int>(maxPictures));
    deltaCounts.push_back(count);
}

double readTiming(Fields &fields)
{
    const std::uint32_t ticks = fields.word();
    const std::uint32_t scale = fields.word();
    if (fields.flag())
        fields.skipAny();
    return ticks == 0 ? 0 : double(scale) / ticks;
}

void readUsability(Fields &fields, int subLayers, H265Sequence &sequence)
{
    if (fields.flag() && static_cast<unsigned>(fields.bits(8)) == extendedSar)
        fields.skip(32);
    if (fields.flag()) // overscan
        fields.flag();
    if (fields.flag()) { // video signal
        fields.skip(4);
        if (fields.flag())
            fields.skip(24);
    }
    if (fields.flag()) { // chroma location
        fields.limited(5);
        fields.limited(5);
    }
    fields.skip(3);
    if (fields.flag()) // default display window
        for (int i = 0; i < 4; ++i)
            fields.limited(maxSide);
    if (fields.flag()) {
        sequence.framesPerSecond = readTiming(fields);
        if (fields.flag())
            skipBufferModel(fields, true, subLayers);
    }
    if (fields.flag()) { // bitstream restriction
        fields.skip(3);
        for (const std::uint32_t limit : {4095U, 16U, 16U, 16U, 16U})
            fields.limited(limit);
    }
}

void readSize(Fields &fields, H265Sequence &sequence)
{
    sequence.chromaFormat = fields.limited(3);
    if (sequence.chromaFormat == 3)
        sequence.hasSeparatePlanes = fields.flag();
    sequence.codedWidth = fields.limited(maxSide);
    sequence.codedHeight = fields.limited(maxSide);
    sequence.width = sequence.codedWidth;
    sequence.height = sequence.codedHeight;
    if (fields.flag()) {
        const int unitX = sequence.chromaFormat == 1 || sequence.chromaFormat == 2 ? 2 : 1;
        const int unitY = sequence.chromaFormat == 1 ? 2 : 1;
        for (int edge = 0; edge < 4; ++edge)
            (edge < 2 ? sequence.width : sequence.height) -=
                (edge < 2 ? unitX : unitY) * fields.limited(maxSide);
    }
    fields.require(sequence.width > 0 && sequence.height > 0);
}

void readBlockSizes(Fields &fields, H265Sequence &sequence)
{
    const int log2MinBlock = fields.limited(3) + 3;
    sequence.log2CodingTree = log2MinBlock + fields.limited(3);
    fields.require(sequence.log2CodingTree >= 4 && sequence.log2CodingTree <= 6);
    fields.require(sequence.codedWidth % (1 << log2MinBlock) == 0
                   && sequence.codedHeight % (1 << log2MinBlock) == 0);
    for (const std::uint32_t limit : {3U, 3U, 4U, 4U})
        fields.limited(limit);
}

void readSequenceTools(Fields &fields)
{
    if (fields.flag() && fields.flag())
        skipScalingLists(fields);
    fields.skip(2);
    if (fields.flag()) { // PCM samples
        fields.skip(4 + 4);
        fields.limited(2);
        fields.limited(2);
        fields.flag();
    }
}

void readReferenceSets(Fields &fields, int log2MaxOrderLsb)
{
    const int count = fields.limited(64);
    std::vector<int> deltaCounts;
    for (int i = 0; i < count && fields.isSound(); ++i)
        skipReferenceSet(fields, i, deltaCounts);
    if (fields.flag()) { // long-term
        const int longTerm = fields.limited(32);
        for (int i = 0; i < longTerm; ++i)
            fields.skip(static_cast<unsigned>(log2MaxOrderLsb) + 1);
    }
}

} // namespace

std::optional<H265Video> parseH265Video(UnitBytes unit)
{
    if (!hasType(unit, videoType))
        return {};
    Fields fields(unit);
    H265Video video;
    video.id = fields.bits(4);
    fields.skip(2 + 6);
    const int subLayers = fields.bits(3) + 1;
    fields.require(subLayers <= maxSubLayers);
    fields.flag();
    fields.require(fields.bits(16) == 0xffff);
    int profile = 0;
    int level = 0;
    if (!fields.isSound())
        return {};
    readProfile(fields, subLayers, profile, level);
    readOrdering(fields, subLayers);
    const int maxLayer = fields.bits(6);
    const int layerSets = fields.limited(1023);
    for (int i = 0; i < layerSets && fields.isSound(); ++i)
        fields.skip(static_cast<unsigned>(maxLayer) + 1);
    if (fields.flag()) {
        readTiming(fields);
        const int models = fields.limited(1024);
        for (int i = 0; i < models && fields.isSound(); ++i) {
            fields.limited(1023);
            const bool hasCommon = i == 0 || fields.flag();
            skipBufferModel(fields, hasCommon, subLayers);
        }
    }
    const bool isExtended = fields.flag();
    if (!fields.isSound() || (!isExtended && !fields.end()))
        return {};
    return video;
}

std::optional<H265Sequence> parseH265Sequence(UnitBytes unit)
{
    if (!hasType(unit, sequenceType))
        return {};
    Fields fields(unit);
    H265Sequence sequence;
    sequence.videoId = fields.bits(4);
    const int subLayers = fields.bits(3) + 1;
    fields.require(subLayers <= maxSubLayers);
    fields.flag();
    if (!fields.isSound())
        return {};
    readProfile(fields, subLayers, sequence.profile, sequence.level);
    sequence.id = fields.limited(15);
    readSize(fields, sequence);
    fields.limited(8);
    fields.limited(8);
    sequence.log2MaxOrderLsb = fields.limited(12) + 4;
    sequence.maxReorderPictures = readOrdering(fields, subLayers);
    readBlockSizes(fields, sequence);
    if (!fields.isSound())
        return {};
    readSequenceTools(fields);
    readReferenceSets(fields, sequence.log2MaxOrderLsb);
    fields.skip(2);
    if (fields.flag())
        readUsability(fields, subLayers, sequence);
    const bool isExtended = fields.flag();
    if (!fields.isSound() || (!isExtended && !fields.end()))
        return {};
    return sequence;
}

std::optional<H265Picture> parseH265Picture(UnitBytes unit)
{
    if (!hasType(unit, pictureType))
        return {};
    Fields fields(unit);
    H265Picture picture;
    picture.id = fields.limited(63);
    picture.sequenceId = fields.limited(15);
    picture.hasDependentSlices = fields.flag();
    picture.hasOutputFlag = fields.flag();
    picture.extraSliceHeaderBits = fields.bits(3);
    fields.skip(2);
    fields.limited(14);
    fields.limited(14);
    fields.limitedSigned(74);
    fields.skip(2);
    if (fields.flag()) // cu_qp_delta
        fields.limited(3);
    fields.limitedSigned(12);
    fields.limitedSigned(12);
    fields.skip(4);
    const bool hasTiles = fields.flag();
    fields.flag();
    if (hasTiles) {
        const int columns = fields.limited(64);
        const int rows = fields.limited(64);
        if (!fields.flag())
            for (int i = 0; i < columns + rows; ++i)
                fields.limited(maxSide);
        fields.flag();
    }
    fields.flag();
    if (fields.flag()) { // deblocking control
        fields.flag();
        if (!fields.flag()) {
            fields.limitedSigned(6);
            fields.limitedSigned(6);
        }
    }
    if (fields.flag())
        skipScalingLists(fields);
    fields.flag();
    fields.limited(4);
    fields.flag();
    const bool isExtended = fields.flag();
    if (!fields.isSound() || (!isExtended && !fields.end()))
        return {};
    return picture;
}
