#include "directory.h"

#include "blockmap.h"
#include <algorithm>

namespace {

constexpr std::uint64_t maximumFolderBytes = 32U << 20; ///< some 500,000 recordings
constexpr std::size_t entryHeader = 8; ///< inode 4, record length 2, name length 1, kind 1

using Take = std::function<bool(const FolderEntry &)>;

class FolderReader
{
public:
    FolderReader(const FileSystem &fs, const CardInode &folder, Findings &findings, const Take &take)
        : m_fs(fs)
        , m_folder(folder)
        , m_findings(findings)
        , m_take(take)
        , m_block(fs.blockSize())
    {
    }

    void readBlocks();
    void readInline();

private:
    bool takeBlock(std::uint64_t place);
    bool takeRecords(bool isTrusted);

    const FileSystem &m_fs;
    const CardInode &m_folder;
    Findings &m_findings;
    const Take &m_take;
    std::vector<std::byte> m_block;
};

/// False where the receiver has enough; a record that is wrong ends only its block.
bool FolderReader::takeRecords(bool isTrusted)
{
    for (std::size_t at = 0; at < m_block.size();) {
        auto *record = reinterpret_cast<ext2_dir_entry *>(m_block.data() + at);
        unsigned length = 0;
        const std::size_t left = m_block.size() - at;
        if (left < entryHeader || ext2fs_get_rec_len(m_fs.handle(), record, &length) != 0
            || length < entryHeader || length % 4 != 0 || length > left) {
            m_findings.addDamage("folder-damaged");
            return true;
        }
        const ext2_ino_t inode = ext2fs_le32_to_cpu(record->inode);
        const std::size_t nameLength = ext2fs_le16_to_cpu(record->name_len) & 0xffU;
        if (inode != 0) {
            if (nameLength == 0 || entryHeader + nameLength > length) {
                m_findings.addDamage("folder-damaged");
                return true;
            }
            if (!m_take({inode, std::string_view(record->name, nameLength), isTrusted}))
                return false;
        }
        at += length;
    }
    return true;
}

bool FolderReader::takeBlock(std::uint64_t place)
{
    if (!m_fs.readBlock(place, m_block)) {
        m_findings.addDamage("folder-unreadable");
        return true;
    }
    bool isGood = false;
    {
        const LenientChecksums lenient(
            m_fs.handle()); // of the inode, which is read again for its part of the sum
        isGood = ext2fs_dir_block_csum_verify(m_fs.handle(), m_folder.number,
                                              reinterpret_cast<ext2_dir_entry *>(m_block.data()))
            != 0;
    }
    if (!isGood)
        m_findings.addDamage("folder-checksum");
    return takeRecords(isGood && m_folder.isTrusted);
}

void FolderReader::readBlocks()
{
    const BlockMap map = mapBlocks(m_fs, m_folder);
    const std::uint64_t bytes = EXT2_I_SIZE(&m_folder.data);
    if (map.problem != nullptr)
        m_findings.addDamage(map.problem);
    if (bytes > maximumFolderBytes)
        m_findings.addDamage("folder-too-large");
    const std::uint64_t blocks = std::min(bytes, maximumFolderBytes) / m_fs.blockSize();
    std::uint64_t next = 0;
    for (const BlockRun &run : map.runs) {
        const std::uint64_t end = std::min(run.logical + run.length, blocks);
        if (run.logical > next)
            m_findings.addDamage("folder-incomplete");
        for (next = run.logical; next < end; ++next) {
            if (!takeBlock(run.physical + next - run.logical))
                return;
        }
        if (next >= blocks)
            return;
    }
    if (next < blocks)
        m_findings.addDamage("folder-incomplete");
}

struct InlineState {
    const Take &take;
    bool isTrusted;
    bool hasThrown;
};

int takeInlineEntry(ext2_ino_t, int, ext2_dir_entry *record, int, int, char *, void *data)
{
    auto *state = static_cast<InlineState *>(data);
    const auto length = static_cast<std::size_t>(ext2fs_dirent_name_len(record));
    try {
        if (state->take({record->inode, std::string_view(record->name, length), state->isTrusted}))
            return 0;
    } catch (const std::bad_alloc &) { // must not pass through libext2fs
        state->hasThrown = true;
    }
    return DIRENT_ABORT;
}

void FolderReader::readInline()
{
    const LenientChecksums lenient(m_fs.handle());
    InlineState state{m_take, m_folder.isTrusted, false};
    if (ext2fs_dir_iterate2(m_fs.handle(), m_folder.number, 0, nullptr, takeInlineEntry, &state) != 0)
        m_findings.addDamage("folder-damaged");
    if (state.hasThrown)
        throw std::bad_alloc();
}

} // namespace

void forEachEntry(const FileSystem &fs, const CardInode &folder, Findings &findings, const Take &take)
{
    FolderReader reader(fs, folder, findings, take);
    if (!folder.isTrusted)
        findings.addDamage("folder-checksum");
    if ((folder.data.i_flags & EXT4_INLINE_DATA_FL) != 0)
        reader.readInline();
    else
        reader.readBlocks();
}
