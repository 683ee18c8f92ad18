#include "blockmap.h"

#include <cstring>
#include <ext2fs/ext3_extents.h>

namespace {

// Far more than a card's largest file has, and few enough for memory and time.
constexpr std::size_t maximumRuns = 2'000'000;
constexpr std::uint64_t spareTreeBlocks = 65536;
constexpr unsigned maximumDepth = 5;
constexpr std::uint64_t endOfFiles = 1ULL << 32; ///< block numbers within a file have 32 bits

class Mapper
{
public:
    Mapper(const FileSystem &fs, const CardInode &inode)
        : m_fs(fs)
        , m_inode(inode)
        , m_isJournal(inode.number == fs.handle()->super->s_journal_inum)
    {
    }

    BlockMap map();

private:
    bool walkNode(const std::byte *node, std::size_t size, unsigned depth, std::uint64_t first,
                  std::uint64_t end);
    bool walkIndexes(const ext3_extent_header *header, unsigned depth, std::uint64_t first,
                     std::uint64_t end);
    bool walkChild(std::uint64_t place, unsigned depth, std::uint64_t first, std::uint64_t end);
    bool takeExtents(const ext3_extent_header *header, std::uint64_t first, std::uint64_t end);
    void walkPointers();
    static int takePointer(ext2_filsys, blk64_t *place, e2_blkcnt_t number, blk64_t, int, void *self);
    bool add(std::uint64_t logical, std::uint64_t physical, std::uint64_t length, bool isWritten);
    bool addTreeBlock(std::uint64_t place);
    [[nodiscard]] bool isAllowed(std::uint64_t physical, std::uint64_t length) const
    {
        return m_isJournal
            ? physical != 0 && physical < m_fs.blockCount() && length <= m_fs.blockCount() - physical
            : m_fs.isForFiles(physical, length);
    }
    bool fail(const char *problem)
    {
        if (m_map.problem == nullptr)
            m_map.problem = problem;
        return false;
    }

    const FileSystem &m_fs;
    const CardInode &m_inode;
    bool m_isJournal; ///< the only file that may lie in the system's own zones
    BlockMap m_map;
};

bool Mapper::add(std::uint64_t logical, std::uint64_t physical, std::uint64_t length, bool isWritten)
{
    if (logical < m_map.end || !isAllowed(physical, length))
        return fail("block-map-wrong");
    m_map.end = logical + length;
    m_map.mappedBlocks += length;
    if (m_map.mappedBlocks > m_fs.blockCount())
        return fail("block-map-wrong");
    if (!isWritten)
        return true;
    if (!m_map.runs.empty()) {
        BlockRun &last = m_map.runs.back();
        if (last.logical + last.length == logical && last.physical + last.length == physical) {
            last.length += length;
            return true;
        }
    }
    if (m_map.runs.size() == maximumRuns)
        return fail("block-map-too-large");
    m_map.runs.push_back({logical, physical, length});
    return true;
}

/// Blocks of the map hold at least one mapping each in any file that a file system wrote.
bool Mapper::addTreeBlock(std::uint64_t place)
{
    if (++m_map.treeBlocks > m_map.mappedBlocks + spareTreeBlocks || !isAllowed(place, 1))
        return fail("block-map-wrong");
    return true;
}

bool Mapper::walkNode(const std::byte *node, std::size_t size, unsigned depth, std::uint64_t first,
                      std::uint64_t end)
{
    const auto *header = reinterpret_cast<const ext3_extent_header *>(node);
    const std::size_t capacity = (size - sizeof(ext3_extent_header)) / sizeof(ext3_extent);
    const unsigned entries = ext2fs_le16_to_cpu(header->eh_entries);
    const unsigned maximum = ext2fs_le16_to_cpu(header->eh_max);
    if (ext2fs_le16_to_cpu(header->eh_magic) != EXT3_EXT_MAGIC
        || ext2fs_le16_to_cpu(header->eh_depth) != depth || maximum > capacity || entries > maximum
        || (entries == 0 && depth > 0))
        return fail("extent-tree-wrong");
    return depth > 0 ? walkIndexes(header, depth, first, end) : takeExtents(header, first, end);
}

bool Mapper::walkIndexes(const ext3_extent_header *header, unsigned depth, std::uint64_t first,
                         std::uint64_t end)
{
    const auto *index = reinterpret_cast<const ext3_extent_idx *>(header + 1);
    const unsigned entries = ext2fs_le16_to_cpu(header->eh_entries);
    std::uint64_t start = ext2fs_le32_to_cpu(index[0].ei_block);
    for (unsigned i = 0; i < entries; ++i) {
        const std::uint64_t next = i + 1 < entries ? ext2fs_le32_to_cpu(index[i + 1].ei_block) : end;
        if (start < first || next <= start || next > end)
            return fail("extent-tree-wrong");
        const std::uint64_t place = ext2fs_le32_to_cpu(index[i].ei_leaf)
            | static_cast<std::uint64_t>(ext2fs_le16_to_cpu(index[i].ei_leaf_hi)) << 32;
        if (!walkChild(place, depth - 1, start, next))
            return false;
        start = next;
    }
    return true;
}

bool Mapper::walkChild(std::uint64_t place, unsigned depth, std::uint64_t first, std::uint64_t end)
{
    if (!addTreeBlock(place))
        return false;
    std::vector<std::byte> node(m_fs.blockSize());
    if (!m_fs.readBlock(place, node))
        return fail("extent-tree-unreadable");
    auto *header = reinterpret_cast<ext3_extent_header *>(node.data());
    // The checksum's place follows from eh_max, which walkNode() would check only afterwards.
    const std::size_t capacity = (node.size() - sizeof(ext3_extent_header)) / sizeof(ext3_extent);
    if (ext2fs_le16_to_cpu(header->eh_max) > capacity)
        return fail("extent-tree-wrong");
    {
        const LenientChecksums lenient(
            m_fs.handle()); // of the inode, which is read again for its part of the sum
        if (ext2fs_extent_block_csum_verify(m_fs.handle(), m_inode.number, header) == 0)
            return fail("extent-tree-checksum");
    }
    return walkNode(node.data(), node.size(), depth, first, end);
}

bool Mapper::takeExtents(const ext3_extent_header *header, std::uint64_t first, std::uint64_t end)
{
    const auto *extent = reinterpret_cast<const ext3_extent *>(header + 1);
    const unsigned entries = ext2fs_le16_to_cpu(header->eh_entries);
    for (unsigned i = 0; i < entries; ++i) {
        const std::uint64_t logical = ext2fs_le32_to_cpu(extent[i].ee_block);
        const std::uint64_t physical = ext2fs_le32_to_cpu(extent[i].ee_start)
            | static_cast<std::uint64_t>(ext2fs_le16_to_cpu(extent[i].ee_start_hi)) << 32;
        const unsigned length = ext2fs_le16_to_cpu(extent[i].ee_len);
        const bool isWritten = length <= EXT_INIT_MAX_LEN;
        const std::uint64_t blocks = isWritten ? length : length - EXT_INIT_MAX_LEN;
        if (blocks == 0 || logical < first || logical + blocks > end)
            return fail("extent-tree-wrong");
        if (!add(logical, physical, blocks, isWritten))
            return false;
    }
    return true;
}

int Mapper::takePointer(ext2_filsys /*fs*/, blk64_t *place, e2_blkcnt_t number, blk64_t, int, void *self)
{
    auto *mapper = static_cast<Mapper *>(self);
    try {
        const bool isGood = number < 0 ? mapper->addTreeBlock(*place)
                                       : mapper->add(static_cast<std::uint64_t>(number), *place, 1, true);
        return isGood ? 0 : BLOCK_ABORT;
    } catch (const std::bad_alloc &) { // must not pass through libext2fs
        mapper->fail("block-map-too-large");
        return BLOCK_ABORT;
    }
}

void Mapper::walkPointers()
{
    const LenientChecksums lenient(m_fs.handle());
    if (ext2fs_block_iterate3(m_fs.handle(), m_inode.number, BLOCK_FLAG_READ_ONLY, nullptr, takePointer, this)
        != 0)
        fail("block-map-wrong");
}

BlockMap Mapper::map()
{
    if ((m_inode.data.i_flags & EXT4_EXTENTS_FL) == 0) {
        walkPointers();
        return std::move(m_map);
    }
    // i_block is only aligned to four bytes in its inode, which is what the tree's records need.
    const auto *root = reinterpret_cast<const std::byte *>(m_inode.data.i_block);
    const auto *header = reinterpret_cast<const ext3_extent_header *>(root);
    const unsigned depth = ext2fs_le16_to_cpu(header->eh_depth);
    if (depth > maximumDepth)
        fail("extent-tree-wrong");
    else
        walkNode(root, sizeof(m_inode.data.i_block), depth, 0, endOfFiles);
    return std::move(m_map);
}

} // namespace

BlockMap mapBlocks(const FileSystem &fs, const CardInode &inode) { return Mapper(fs, inode).map(); }
