#pragma once

#include "cardview.h"
#include <array>
#include <optional>

/// What every block of the journal's own begins with.
inline constexpr std::array journalMark{std::byte{0xc0}, std::byte{0x3b}, std::byte{0x39}, std::byte{0x98}};

/// What a journal (the kernel's JBD2 format) holds that isn't yet in its place.
struct JournalReplay {
    std::vector<JournalledBlock> blocks; ///< ordered by block
    std::uint32_t blockSize = 0;
    const char *problem = nullptr; ///< a word, if the journal could not be followed to its end
};

/// Follows the journal from its first live transaction to its last committed one, as a recovery at a mount
/// does. It ends before a transaction that has no commit, and, with a problem told, before one whose checksum
/// is wrong. `places` are the blocks of the file system that the journal lies in, in the journal's order.
JournalReplay replayJournal(const CardView &view, const std::vector<std::uint64_t> &places,
                            std::uint32_t blockSize);
