#include "pathlookup.h"

#include "blockmap.h"
#include "directory.h"
#include "inlinedata.h"
#include "options.h"

namespace {

constexpr unsigned maximumLinks = 40; ///< as many as the kernel follows

struct Found {
    ext2_ino_t inode = 0;
    bool isTrusted = true;
};

Found findEntry(const FileSystem &fs, const CardInode &folder, const std::string &name, Findings &findings)
{
    Found found;
    // What else is wrong with the folder is of no concern once the name is found.
    Findings folderFindings;
    forEachEntry(fs, folder, folderFindings, [&](const FolderEntry &entry) {
        if (entry.name != name)
            return true;
        found = {entry.inode, entry.isTrusted};
        return false;
    });
    if (found.inode == 0 && !folderFindings.isWhole()) {
        findings.take(folderFindings);
        throw Failure(ExitStatus::Damaged, "not-found");
    }
    if (found.inode == 0)
        throw Failure(ExitStatus::NotFound, "not-found");
    if (!found.isTrusted)
        findings.addDamage("folder-checksum");
    return found;
}

CardInode readEntry(const FileSystem &fs, ext2_ino_t number)
{
    // The file system's own inodes have no names.
    const bool isSpecial = number < EXT2_FIRST_INO(fs.handle()->super) && number != EXT2_ROOT_INO;
    const std::optional<CardInode> inode = isSpecial ? std::nullopt : fs.readInode(number);
    if (!inode)
        throw Failure(ExitStatus::Damaged, "inode-wrong");
    return *inode;
}

std::string readLink(const FileSystem &fs, CardInode inode)
{
    const std::uint64_t size = EXT2_I_SIZE(&inode.data);
    if (size == 0 || size >= fs.blockSize())
        throw Failure(ExitStatus::Damaged, "link-damaged");
    std::vector<std::byte> text(size);
    if ((inode.data.i_flags & EXT4_INLINE_DATA_FL) != 0) {
        text = readInlineData(fs, inode);
    } else if (ext2fs_is_fast_symlink(&inode.data) != 0 && size <= sizeof(inode.data.i_block)) {
        const auto *bytes = reinterpret_cast<const std::byte *>(inode.data.i_block);
        text.assign(bytes, bytes + size);
    } else {
        const BlockMap map = mapBlocks(fs, inode);
        if (map.problem != nullptr || map.runs.empty() || map.runs.front().logical != 0
            || !fs.readBlock(map.runs.front().physical, text))
            throw Failure(ExitStatus::Damaged, "link-damaged");
    }
    return {reinterpret_cast<const char *>(text.data()), text.size()};
}

} // namespace

CardInode lookUp(const FileSystem &fs, std::vector<std::string> parts, Findings &findings)
{
    CardInode inode = readEntry(fs, EXT2_ROOT_INO);
    std::vector<std::string> left(parts.rbegin(), parts.rend()); // the next part is the last
    unsigned links = 0;
    CardInode folder = inode;
    while (!left.empty()) {
        if (!LINUX_S_ISDIR(inode.data.i_mode))
            throw Failure(ExitStatus::NotFound, "not-a-folder");
        const std::string name = std::move(left.back());
        left.pop_back();
        folder = inode;
        inode = readEntry(fs, findEntry(fs, folder, name, findings).inode);
        if (!LINUX_S_ISLNK(inode.data.i_mode))
            continue;
        if (++links > maximumLinks)
            throw Failure(ExitStatus::NotFound, "too-many-links");
        const std::string target = readLink(fs, inode);
        const std::vector<std::string> targetParts = splitPath(target);
        left.insert(left.end(), targetParts.rbegin(), targetParts.rend());
        inode = target.starts_with('/') ? readEntry(fs, EXT2_ROOT_INO) : folder;
    }
    return inode;
}
