#include "extraction.h"

#include "blockmap.h"
#include "inlinedata.h"
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>

namespace {

/// As much as a card reader's largest request; a larger buffer falls out of the processor's cache and costs a
/// multiple.
constexpr std::uint64_t chunkBytes = 1U << 20;
/// The kernel copies whole pages in 4/5 of the time that it takes for others.
constexpr std::size_t pageBytes = 4096;

struct Free {
    void operator()(void *memory) const { std::free(memory); }
};
using Buffer = std::unique_ptr<std::byte, Free>;

Buffer makeBuffer()
{
    Buffer buffer(static_cast<std::byte *>(std::aligned_alloc(pageBytes, chunkBytes)));
    if (buffer == nullptr)
        throw std::bad_alloc();
    return buffer;
}

std::uint64_t blocksOf(std::uint64_t bytes, std::uint64_t blockSize)
{
    return bytes / blockSize + (bytes % blockSize != 0);
}

/// Whether every block up to the file's end was written.
bool isFilled(const BlockMap &map, std::uint64_t blocks)
{
    std::uint64_t next = 0;
    for (const BlockRun &run : map.runs) {
        if (run.logical != next)
            break;
        next = run.logical + run.length;
    }
    return next >= blocks;
}

/// The inode counts its blocks, so a tree that lost a part shows. Not told apart in file systems that count
/// otherwise.
bool isCountRight(const FileSystem &fs, const CardInode &file, const BlockMap &map)
{
    if (ext2fs_has_feature_bigalloc(fs.handle()->super) != 0
        || ext2fs_has_feature_ea_inode(fs.handle()->super) != 0)
        return true;
    ext2_inode inode = file.data;
    const std::uint64_t attributes = ext2fs_file_acl_block(fs.handle(), &inode) != 0 ? 1 : 0;
    const std::uint64_t blocks = map.mappedBlocks + map.treeBlocks + attributes;
    return ext2fs_get_stat_i_blocks(fs.handle(), &inode) == blocks * (fs.blockSize() / 512);
}

/// Refuses what can't be the file that was recorded.
void requirePlausible(const FileSystem &fs, const CardInode &file, const BlockMap &map, Findings &findings)
{
    const std::uint64_t size = EXT2_I_SIZE(&file.data);
    const std::uint64_t blocks = blocksOf(size, fs.blockSize());
    const bool isVouchedFor = fs.hasChecksums() && file.isTrusted;
    if (map.problem != nullptr)
        throw Failure(ExitStatus::Damaged, map.problem);
    if (blocks > (1ULL << 32) || (blocks > fs.blockCount() && !isVouchedFor && map.end < blocks))
        throw Failure(ExitStatus::Damaged, "size-impossible");
    const bool isCounted = isCountRight(fs, file, map);
    if (!isCounted && !isFilled(map, blocks))
        throw Failure(ExitStatus::Damaged, "block-count-wrong");
    if (!file.isTrusted && (!isCounted || map.end != blocks))
        throw Failure(ExitStatus::Damaged, "inode-checksum");
    if (!isCounted)
        findings.addDamage("block-count-wrong");
    if (!file.isTrusted)
        findings.addDamage("inode-checksum");
}

class Extraction
{
public:
    Extraction(const FileSystem &fs, std::uint64_t size, TargetFile &target, Findings &findings)
        : m_fs(fs)
        , m_size(size)
        , m_target(target)
        , m_findings(findings)
    {
    }

    void copy(const BlockMap &map);

private:
    void copyRun(const BlockRun &run);
    void copyPieces(std::uint64_t place, std::uint64_t position, std::uint64_t length);

    const FileSystem &m_fs;
    std::uint64_t m_size;
    TargetFile &m_target;
    Findings &m_findings;
    Buffer m_buffer = makeBuffer();
};

/// Block by block, around those that can't be read.
void Extraction::copyPieces(std::uint64_t place, std::uint64_t position, std::uint64_t length)
{
    const std::uint64_t blockSize = m_fs.blockSize();
    for (std::uint64_t done = 0; done < length; done += blockSize) {
        const std::span piece(m_buffer.get(), std::min(blockSize, length - done));
        if (m_fs.readBlock(place + done / blockSize, piece))
            m_target.write(position + done, piece);
        else
            m_findings.addDamage("blocks-unreadable");
    }
}

void Extraction::copyRun(const BlockRun &run)
{
    const std::uint64_t blockSize = m_fs.blockSize();
    const std::uint64_t end = std::min(m_size, (run.logical + run.length) * blockSize);
    std::uint64_t place = run.physical;
    for (std::uint64_t position = run.logical * blockSize; position < end;) {
        // Up to a whole MiB of the target, whose cache then takes it in large pieces.
        const std::uint64_t length = std::min(chunkBytes - position % chunkBytes, end - position);
        const std::span chunk(m_buffer.get(), length);
        if (m_fs.readBlock(place, chunk))
            m_target.write(position, chunk);
        else
            copyPieces(place, position, chunk.size());
        position += chunk.size();
        place += chunk.size() / blockSize;
    }
}

void Extraction::copy(const BlockMap &map)
{
    std::uint64_t blocks = 0;
    for (const BlockRun &run : map.runs)
        blocks += run.length;
    m_target.requireSpace(std::min(blocks * m_fs.blockSize(), m_size));
    for (const BlockRun &run : map.runs)
        copyRun(run);
}

void extractInline(const FileSystem &fs, const CardInode &file, TargetFile &target)
{
    // Nothing but the checksum vouches for bytes that stand in the inode itself.
    if (!file.isTrusted)
        throw Failure(ExitStatus::Damaged, "inode-checksum");
    target.write(0, readInlineData(fs, file));
}

} // namespace

void extractFile(const FileSystem &fs, const CardInode &file, TargetFile &target, Findings &findings)
{
    if (!LINUX_S_ISREG(file.data.i_mode))
        throw Failure(ExitStatus::NotFound, "not-a-file");
    if ((file.data.i_flags & EXT4_ENCRYPT_FL) != 0)
        throw Failure(ExitStatus::Damaged, "file-encrypted");
    target.removeOld();
    const std::uint64_t size = EXT2_I_SIZE(&file.data);
    if ((file.data.i_flags & EXT4_INLINE_DATA_FL) != 0) {
        extractInline(fs, file, target);
    } else {
        const BlockMap map = mapBlocks(fs, file);
        requirePlausible(fs, file, map, findings);
        Extraction(fs, size, target, findings).copy(map);
    }
    // Without a sign: no recording is older than 1970, and further bits count from 2106 on only.
    target.complete(size, file.data.i_mtime);
}
