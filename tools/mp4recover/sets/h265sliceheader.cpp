#include "sets/h265sliceheader.h"

#include "reading/bitreader.h"
#include "reading/bytes.h"

#include <algorithm>

namespace {

constexpr std::size_t lengthSize = 4;
constexpr std::size_t unitHeader = 2;
constexpr std::uint32_t mostReferences = 15;

enum SliceType { B = 0, P = 1, I = 2 };

/// slice_segment_header() of ITU-T H.265, 7.3.6.1.
class Header
{
public:
    Header(UnitBytes unit, const H265Guess &guess)
        : m_reader(unit.subspan(unitHeader))
        , m_guess(guess)
        , m_type((unit[0] >> 1U) & 0x3fU)
    {
    }

    bool fits()
    {
        constexpr unsigned firstRandomAccess = 16;
        m_reader.bit(); // first slice
        if (m_type >= firstRandomAccess)
            m_reader.bit();
        limited(63); // picture set
        const std::uint32_t slice = limited(2);
        if (m_type != 19 && m_type != 20)
            readOrder();
        if (m_guess.hasAdaptiveOffset)
            m_reader.skip(2);
        if (slice != SliceType::I)
            readPrediction(slice);
        const std::int32_t qp = 26 + m_reader.signedGolomb();
        m_fits = m_fits && qp >= 0 && qp <= 51;
        if (m_guess.isFilteredAcrossSlices)
            m_reader.bit();
        if (m_guess.isWavefront)
            readEntryPoints();
        return m_fits && isAligned() && m_reader.isGood();
    }

private:
    std::uint32_t limited(std::uint32_t limit)
    {
        const std::uint32_t value = m_reader.unsignedGolomb();
        m_fits = m_fits && value <= limit;
        return m_fits ? value : 0;
    }

    void readOrder()
    {
        constexpr std::uint32_t farthest = 63; // pictures from the one that refers
        m_reader.skip(static_cast<unsigned>(m_guess.log2MaxOrderLsb));
        const bool isInSequence = m_reader.flag();
        m_fits = m_fits && isInSequence == m_guess.hasReferenceSet;
        if (!isInSequence) {
            const std::uint32_t before = limited(mostReferences);
            const std::uint32_t count = before + limited(mostReferences);
            for (std::uint32_t i = 0; i < count && m_fits; ++i) {
                limited(farthest);
                m_reader.bit();
            }
        }
        m_isMotionKept = m_guess.hasTemporalMotion && m_reader.flag();
    }

    void readPrediction(std::uint32_t slice)
    {
        std::uint32_t forward = static_cast<std::uint32_t>(m_guess.referenceCount);
        std::uint32_t backward = 1;
        if (m_reader.flag()) {
            forward = limited(mostReferences) + 1;
            backward = slice == SliceType::B ? limited(mostReferences) + 1 : 1;
        }
        if (slice == SliceType::B)
            m_reader.bit(); // the second vector's difference is zero
        if (m_isMotionKept) {
            const bool isForward = slice == SliceType::P || m_reader.flag();
            const std::uint32_t count = isForward ? forward : backward;
            if (count > 1)
                limited(count - 1);
        }
        if (m_guess.isWeighted && slice == SliceType::P)
            readWeights(forward);
        limited(4); // merge candidates
    }

    void readWeights(std::uint32_t count)
    {
        limited(7);
        m_reader.signedGolomb();
        std::uint32_t luma = m_reader.bits(count);
        std::uint32_t chroma = m_reader.bits(count);
        for (std::uint32_t i = 0; i < count; ++i, luma >>= 1U, chroma >>= 1U) {
            const int values = ((luma & 1U) != 0 ? 2 : 0) + ((chroma & 1U) != 0 ? 4 : 0);
            for (int j = 0; j < values; ++j)
                m_reader.signedGolomb();
        }
    }

    void readEntryPoints()
    {
        const int tree = 1 << m_guess.log2CodingTree;
        const auto rows = static_cast<std::uint32_t>((m_guess.height + tree - 1) / tree);
        const std::uint32_t entries = limited(rows - 1);
        if (entries == 0)
            return;
        const std::uint32_t width = limited(31) + 1;
        for (std::uint32_t i = 0; i < entries && m_reader.isGood(); ++i)
            m_reader.skip(width);
    }

    bool isAligned()
    {
        bool isAligned = m_reader.flag();
        while (m_reader.position() % 8 != 0)
            isAligned = !m_reader.flag() && isAligned;
        return isAligned;
    }

    BitReader m_reader;
    const H265Guess &m_guess;
    unsigned m_type;
    bool m_fits = true;
    bool m_isMotionKept = false;
};

} // namespace

bool fitsSliceHeader(const Sample &sample, const H265Guess &guess)
{
    constexpr unsigned mostSliceTypes = 32;
    for (std::size_t at = 0; at + lengthSize + unitHeader < sample.size();) {
        const std::size_t size = bigEndian32(sample.data() + at);
        const std::size_t begin = at + lengthSize;
        if (size > sample.size() - begin || size <= unitHeader)
            return false;
        at = begin + size;
        if (((sample[begin] >> 1U) & 0x3fU) < mostSliceTypes)
            return Header(UnitBytes(sample).subspan(begin, size), guess).fits();
    }
    return false;
}
