#include "cardview.h"

#include "journal.h"
#include <algorithm>

void CardView::lay(std::vector<JournalledBlock> blocks, std::uint32_t blockSize)
{
    m_blocks = std::move(blocks);
    m_blockSize = blockSize;
}

bool CardView::read(std::uint64_t position, std::span<std::byte> into) const
{
    auto entry =
        std::lower_bound(m_blocks.begin(), m_blocks.end(), position / m_blockSize,
                         [](const JournalledBlock &e, std::uint64_t block) { return e.block < block; });
    while (!into.empty()) {
        const std::uint64_t covered = entry == m_blocks.end() ? UINT64_MAX : entry->block * m_blockSize;
        std::size_t length = into.size();
        if (covered > position) {
            length = std::min<std::uint64_t>(length, covered - position);
            if (!m_device.read(position, into.first(length)))
                return false;
        } else {
            const std::uint64_t skip = position - covered;
            length = std::min<std::uint64_t>(length, m_blockSize - skip);
            if (!readCopy(*entry, skip, into.first(length)))
                return false;
            ++entry;
        }
        position += length;
        into = into.subspan(length);
    }
    return true;
}

bool CardView::readCopy(const JournalledBlock &entry, std::uint64_t skip, std::span<std::byte> into) const
{
    if (!m_device.read(entry.copy * m_blockSize + skip, into))
        return false;
    if (entry.isEscaped) {
        for (std::size_t i = skip; i < journalMark.size() && i - skip < into.size(); ++i)
            into[i - skip] = journalMark[i];
    }
    return true;
}
