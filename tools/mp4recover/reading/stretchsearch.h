#pragma once

#include "reading/bytescan.h"
#include "reading/unitheader.h"

/// A unit that was found behind its 4-byte length.
struct FoundUnit {
    std::uint64_t offset = 0; ///< of the length
    std::uint32_t size = 0; ///< without the length
    UnitKind kind = UnitKind::Slice;
    std::uint8_t type = 0;
    bool isDamaged = false; ///< a stretch of zeros within
    bool isLinkedBefore = false; ///< what stands before it ends exactly at its beginning
    bool isLinkedAfter = false; ///< something known begins where it ends
    SliceStart slice{}; ///< of slices

    [[nodiscard]] std::uint64_t end() const { return offset + 4 + size; }
};

struct SearchResult {
    std::vector<FoundUnit> units;
    std::vector<Span>
        soundFrames; ///< with a header of MPEG audio layer III; by chance there are some in any file
    double score = 0; ///< how well the units explain the bytes, to compare codecs by
};

/// What stands behind a stretch.
enum class StretchEnd {
    Known, ///< a block or box
    FileEnd, ///< the file ends, perhaps within a unit
    Open, ///< it goes on; the search only has no room for more
};

/// Finds the units between two places where something else is known to begin and end. Candidates are all
/// places that look like a length and a header; of those that overlap the ones are taken that explain most: a
/// unit is well supported where what follows it begins exactly at its end. Appends to the result in file
/// order. Time: linear in the stretch, n log n in the candidates.
void searchStretch(Bytes bytes, VideoCodec codec, Span stretch, StretchEnd end, const ScanHits &hits,
                   SearchResult &result);
