#pragma once

#include "carddevice.h"
#include <vector>

/// A block whose newest committed content stands in the journal and not yet in its place.
struct JournalledBlock {
    std::uint64_t block; ///< where it belongs
    std::uint64_t copy; ///< where the content stands
    bool isEscaped; ///< its first four bytes were the journal's own mark, and stand in the journal as zeros
};

/// The ext4 area as a mount would show it: what the journal holds is laid over what stands on the device, in
/// memory.
class CardView
{
public:
    explicit CardView(const CardDevice &device)
        : m_device(device)
    {
    }

    /// `blocks` is ordered by block, each there once.
    void lay(std::vector<JournalledBlock> blocks, std::uint32_t blockSize);

    /// As CardDevice::read.
    [[nodiscard]] bool read(std::uint64_t position, std::span<std::byte> into) const;

private:
    [[nodiscard]] bool readCopy(const JournalledBlock &entry, std::uint64_t skip,
                                std::span<std::byte> into) const;

    const CardDevice &m_device;
    std::vector<JournalledBlock> m_blocks;
    std::uint64_t m_blockSize = 1;
};
