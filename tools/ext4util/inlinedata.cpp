#include "inlinedata.h"

std::vector<std::byte> readInlineData(const FileSystem &fs, const CardInode &inode)
{
    const LenientChecksums lenient(fs.handle());
    const std::uint64_t fileSize = EXT2_I_SIZE(&inode.data);
    std::size_t size = 0;
    errcode_t error = ext2fs_inline_data_size(fs.handle(), inode.number, &size);
    // It lies in the inode, so a block is more than enough.
    if (error != 0 || size > fs.blockSize() || fileSize > size)
        throw Failure(ExitStatus::Damaged, "inline-data-wrong", error);
    std::vector<std::byte> bytes(std::max<std::size_t>(size, sizeof(inode.data.i_block)));
    error = ext2fs_inline_data_get(fs.handle(), inode.number, nullptr, bytes.data(), &size);
    if (error != 0)
        throw Failure(ExitStatus::Damaged, "inline-data-wrong", error);
    bytes.resize(fileSize);
    return bytes;
}
