#pragma once

#include "reading/bytes.h"
#include "reading/findings.h"

#include <vector>

/// Places in the file that are worth a closer look, each list in file order.
struct ScanHits {
    /// "DAT", "GPS", "SHO" or "moov".
    std::vector<std::uint64_t> tags;
    /// A length below 4 MiB with a header byte behind it that H.264 or H.265 have.
    std::vector<std::uint64_t> unitStarts;
    /// Places of 00 00 00, 00 00 01 or 00 00 02, which no unit contains; neighbours are joined.
    std::vector<Span> forbidden;
    /// Four bytes as MPEG audio layer III has them at the beginning of a frame.
    std::vector<std::uint64_t> soundHeaders;

    /// Forgets what lies before the offset.
    void dropBefore(std::uint64_t offset);
    [[nodiscard]] std::size_t count() const;
};

/// Bytes behind a place that a hit looks at.
inline constexpr std::uint64_t scanReach = 8;

/// Appends the hits that begin in [begin, end). Reads each byte once, at about the speed of memory; looks at
/// scanReach bytes beyond the end, as far as there are any.
void scan(Bytes bytes, std::uint64_t begin, std::uint64_t end, ScanHits &hits);
