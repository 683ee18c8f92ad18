#include "filesystem.h"

#include "blockmap.h"
#include "journal.h"
#include "overlayio.h"

namespace {

/// Where to look for a superblock; libext2fs wants number 0 for the primary. A copy stands in group 1, whose
/// place follows from the block size.
struct Candidate {
    int superBlock;
    unsigned blockSize;
    int extraFlags;
};
constexpr Candidate candidates[] = {
    {0, 0, 0},
    {32768, 4096, 0},
    {8193, 1024, 0},
    {16384, 2048, 0},
    {0, 0, EXT2_FLAG_IGNORE_CSUM_ERRORS}, // better a doubtful one than none
};

bool areDescriptorsSound(ext2_filsys fs)
{
    const std::uint64_t end = ext2fs_blocks_count(fs->super);
    for (dgrp_t group = 0; group < fs->group_desc_count; ++group) {
        const std::uint64_t table = ext2fs_inode_table_loc(fs, group);
        if (table < fs->super->s_first_data_block || table >= end || fs->inode_blocks_per_group > end - table)
            return false;
        if (ext2fs_has_group_desc_csum(fs) && ext2fs_group_desc_csum_verify(fs, group) == 0)
            return false;
    }
    return true;
}

} // namespace

FileSystem::FileSystem(const CardDevice &device, Findings &findings)
    : m_view(device)
{
    Opened opened = openBest();
    m_handle = std::move(opened.handle);
    if (replay(opened.isPrimary, findings)) {
        opened = openBest();
        m_handle = std::move(opened.handle);
    }
    if (!opened.isSound)
        findings.addDamage("group-descriptors");
    else
        m_zones = SystemZones(m_handle.get());
    if (!opened.isPrimary)
        findings.addRemark("superblock-copy-used");
}

FileSystem::Opened FileSystem::openBest()
{
    Opened best;
    errcode_t firstError = 0;
    for (const Candidate &candidate : candidates) {
        const int flags = EXT2_FLAG_64BITS | EXT2_FLAG_SOFTSUPP_FEATURES | candidate.extraFlags;
        ext2_filsys fs = nullptr;
        const errcode_t error = ext2fs_open2("card", nullptr, flags, candidate.superBlock,
                                             candidate.blockSize, overlayManager(m_view), &fs);
        if (error == EXT2_ET_NO_MEMORY)
            throw std::bad_alloc();
        if (firstError == 0)
            firstError = error;
        if (error != 0)
            continue;
        Handle handle(fs);
        fs->flags &= ~EXT2_FLAG_IGNORE_CSUM_ERRORS;
        const bool isPrimary = candidate.superBlock == 0;
        // A superblock of group 0 there belongs to a file system that begins elsewhere.
        if (!isPrimary && fs->super->s_block_group_nr != 1)
            continue;
        const bool isSound = areDescriptorsSound(fs);
        if (isSound || best.handle == nullptr)
            best = {std::move(handle), isPrimary && candidate.extraFlags == 0, isSound};
        if (isSound)
            return best;
    }
    if (best.handle == nullptr)
        throw Failure(ExitStatus::FileSystem, "file-system-not-opened", firstError);
    return best;
}

/// Gives whether there was anything to lay over the device. Only the primary superblock knows whether the
/// journal is needed; without it the journal's own start tells.
bool FileSystem::replay(bool isPrimary, Findings &findings)
{
    const ext2_super_block *super = m_handle->super;
    if (ext2fs_has_feature_journal(m_handle->super) == 0
        || (isPrimary && ext2fs_has_feature_journal_needs_recovery(m_handle->super) == 0))
        return false;
    if (super->s_journal_inum == 0) {
        findings.addDamage("journal-external");
        return false;
    }
    const std::optional<CardInode> inode = readInode(super->s_journal_inum);
    const BlockMap map = inode ? mapBlocks(*this, *inode) : BlockMap{};
    if (!inode || map.problem != nullptr) {
        findings.addDamage("journal-unreadable");
        return false;
    }
    std::vector<std::uint64_t> places;
    for (const BlockRun &run : map.runs) {
        if (run.logical != places.size())
            break;
        for (std::uint64_t i = 0; i < run.length; ++i)
            places.push_back(run.physical + i);
    }
    JournalReplay result = replayJournal(m_view, places, blockSize());
    if (result.problem != nullptr)
        findings.addDamage(result.problem);
    const bool hasBlocks = !result.blocks.empty();
    m_view.lay(std::move(result.blocks), result.blockSize);
    return hasBlocks;
}

std::optional<CardInode> FileSystem::readInode(ext2_ino_t number) const
{
    const ext2_super_block *super = m_handle->super;
    if (number == 0 || number > super->s_inodes_count)
        return std::nullopt;
    CardInode inode;
    inode.number = number;
    errcode_t error = ext2fs_read_inode(m_handle.get(), number, &inode.data);
    if (error == EXT2_ET_INODE_CSUM_INVALID) {
        inode.isTrusted = false;
        const LenientChecksums lenient(m_handle.get());
        error = ext2fs_read_inode(m_handle.get(), number, &inode.data);
    }
    if (error != 0 || inode.data.i_mode == 0 || inode.data.i_links_count == 0)
        return std::nullopt;
    return inode;
}

bool FileSystem::isForFiles(std::uint64_t first, std::uint64_t count) const
{
    const std::uint64_t end = blockCount();
    return first >= std::max<std::uint64_t>(1, m_handle->super->s_first_data_block) && first < end
        && count <= end - first && !m_zones.overlap(first, count);
}
