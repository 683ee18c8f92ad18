#include "sets/parametersets.h"

#include "reading/bitreader.h"
#include "sets/bitwriter.h"

namespace {

constexpr unsigned videoType = 32;
constexpr unsigned sequenceType = 33;
constexpr unsigned pictureType = 34;

void writeProfile(BitWriter &writer)
{
    constexpr std::uint32_t mainCompatibility = 0x60000000;
    writer.bits(1, 8);
    writer.bits(mainCompatibility, 32);
    writer.bits(0x9, 4); // progressive, frames only
    writer.bits(0, 32);
    writer.bits(0, 12);
    writer.bits(153, 8); // level 5.1
}

void writeOrdering(BitWriter &writer, const H265Guess &guess)
{
    writer.flag(true);
    writer.unsignedGolomb(static_cast<unsigned>(guess.decodedPictures - 1));
    writer.unsignedGolomb(static_cast<unsigned>(guess.reorderPictures));
    writer.unsignedGolomb(0);
}

void writeHeader(BitWriter &writer, unsigned type)
{
    writer.bits(type << 1U, 8);
    writer.bits(1, 8);
}

} // namespace

ParameterSet buildH265Video(const H265Guess &guess)
{
    BitWriter writer;
    writeHeader(writer, videoType);
    writer.bits(0x0c, 8); // id 0, one layer
    writer.bits(0, 4);
    writer.bits(1, 4); // one sub-layer, nested
    writer.bits(0xffff, 16);
    writeProfile(writer);
    writeOrdering(writer, guess);
    writer.bits(0, 6);
    writer.unsignedGolomb(0);
    writer.bits(0, 2);
    return writer.finish();
}

ParameterSet buildH265Sequence(const H265Guess &guess)
{
    const int unit = 1 << guess.log2MinCodingBlock;
    const int width = (guess.width + unit - 1) / unit * unit;
    const int height = (guess.height + unit - 1) / unit * unit;
    BitWriter writer;
    writeHeader(writer, sequenceType);
    writer.bits(1, 8); // video set 0, one sub-layer, nested
    writeProfile(writer);
    writer.unsignedGolomb(static_cast<unsigned>(guess.sequenceId));
    writer.unsignedGolomb(1);
    writer.unsignedGolomb(static_cast<unsigned>(width));
    writer.unsignedGolomb(static_cast<unsigned>(height));
    const bool isCropped = width != guess.width || height != guess.height;
    writer.flag(isCropped);
    if (isCropped)
        for (const int edge : {0, (width - guess.width) / 2, 0, (height - guess.height) / 2})
            writer.unsignedGolomb(static_cast<unsigned>(edge));
    writer.unsignedGolomb(0);
    writer.unsignedGolomb(0);
    writer.unsignedGolomb(static_cast<unsigned>(guess.log2MaxOrderLsb - 4));
    writeOrdering(writer, guess);
    writer.unsignedGolomb(static_cast<unsigned>(guess.log2MinCodingBlock - 3));
    writer.unsignedGolomb(static_cast<unsigned>(guess.log2CodingTree - guess.log2MinCodingBlock));
    writer.unsignedGolomb(static_cast<unsigned>(guess.log2MinTransform - 2));
    writer.unsignedGolomb(static_cast<unsigned>(guess.log2MaxTransform - guess.log2MinTransform));
    writer.unsignedGolomb(static_cast<unsigned>(guess.transformDepthInter));
    writer.unsignedGolomb(static_cast<unsigned>(guess.transformDepthIntra));
    writer.flag(false);
    writer.flag(guess.hasAsymmetricPartitions);
    writer.flag(guess.hasAdaptiveOffset);
    writer.flag(false);
    writer.unsignedGolomb(guess.hasReferenceSet ? 1 : 0);
    if (guess.hasReferenceSet)
        for (const unsigned value : {1U, 0U}) // one picture before, none behind
            writer.unsignedGolomb(value);
    if (guess.hasReferenceSet)
        writer.bits(3, 2); // the one right before; used
    writer.flag(false);
    writer.flag(guess.hasTemporalMotion);
    writer.flag(guess.hasStrongIntraSmoothing);
    writer.bits(0, 2);
    return writer.finish();
}

ParameterSet buildH265Picture(const H265Guess &guess)
{
    BitWriter writer;
    writeHeader(writer, pictureType);
    writer.unsignedGolomb(static_cast<unsigned>(guess.pictureId));
    writer.unsignedGolomb(static_cast<unsigned>(guess.sequenceId));
    writer.bits(0, 5);
    writer.flag(guess.hasSignHiding);
    writer.flag(false);
    writer.unsignedGolomb(static_cast<unsigned>(guess.referenceCount - 1));
    writer.unsignedGolomb(0);
    writer.signedGolomb(0);
    writer.flag(false);
    writer.flag(guess.hasTransformSkip);
    writer.flag(guess.hasQpDelta);
    if (guess.hasQpDelta)
        writer.unsignedGolomb(static_cast<unsigned>(guess.qpDeltaDepth));
    writer.signedGolomb(0);
    writer.signedGolomb(0);
    writer.flag(false);
    writer.flag(guess.isWeighted);
    writer.bits(0, 3);
    writer.flag(guess.isWavefront);
    writer.flag(guess.isFilteredAcrossSlices);
    writer.bits(0, 3);
    writer.unsignedGolomb(0);
    writer.bits(0, 2);
    return writer.finish();
}
