#pragma once

#include "cardview.h"
#include "report.h"
#include "systemzones.h"
#include <ext2fs/ext2fs.h>
#include <memory>
#include <optional>

struct CardInode {
    ext2_ino_t number = 0;
    ext2_inode data{};
    bool isTrusted = true; ///< false: its checksum is wrong
};

/// The ext4 file system on a card, opened read-only with its journal replayed in memory.
class FileSystem
{
public:
    /// Throws Failure (`FileSystem`) where there is none that can be read. The primary superblock is tried
    /// first, then the copies. `device` must outlive this.
    FileSystem(const CardDevice &device, Findings &findings);

    [[nodiscard]] ext2_filsys handle() const { return m_handle.get(); }
    [[nodiscard]] std::uint32_t blockSize() const { return m_handle->blocksize; }
    [[nodiscard]] std::uint64_t blockCount() const { return ext2fs_blocks_count(m_handle->super); }
    [[nodiscard]] bool hasChecksums() const { return ext2fs_has_feature_metadata_csum(m_handle->super) != 0; }

    /// Reads from a block on; false if any of it can't be read.
    [[nodiscard]] bool readBlock(std::uint64_t block, std::span<std::byte> into) const
    {
        return m_view.read(block * blockSize(), into);
    }

    /// None where the number is impossible or the inode unreadable or unused. An inode with a wrong checksum
    /// is given, and marked.
    [[nodiscard]] std::optional<CardInode> readInode(ext2_ino_t number) const;

    /// Whether these blocks may belong to a file: inside the file system, and clear of its own tables.
    [[nodiscard]] bool isForFiles(std::uint64_t first, std::uint64_t count) const;

private:
    struct Closer {
        void operator()(ext2_filsys fs) const { ext2fs_free(fs); }
    };
    using Handle = std::unique_ptr<struct_ext2_filsys, Closer>;

    struct Opened {
        Handle handle;
        bool isPrimary = true;
        bool isSound = false;
    };
    [[nodiscard]] Opened openBest();
    bool replay(bool isPrimary, Findings &findings);

    CardView m_view;
    Handle m_handle; // closed before the view that it reads
    SystemZones m_zones;
};

/// While one lives, libext2fs takes inodes and blocks whose checksums are wrong.
class LenientChecksums
{
public:
    explicit LenientChecksums(ext2_filsys fs)
        : m_fs(fs)
    {
        m_fs->flags |= EXT2_FLAG_IGNORE_CSUM_ERRORS;
    }
    ~LenientChecksums() { m_fs->flags &= ~EXT2_FLAG_IGNORE_CSUM_ERRORS; }
    LenientChecksums(const LenientChecksums &) = delete;
    LenientChecksums &operator=(const LenientChecksums &) = delete;

private:
    ext2_filsys m_fs;
};
