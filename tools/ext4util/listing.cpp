#include "listing.h"

#include "directory.h"
#include "entryname.h"
#include <algorithm>
#include <cerrno>
#include <numeric>
#include <string>
#include <unistd.h>

namespace {

struct Entry {
    ext2_ino_t inode;
    std::uint32_t nameAt; ///< in the one text that holds all names, to keep a million of them small
    std::uint8_t nameLength;
    bool hasInode = false;
    std::uint64_t size = 0;
};

class Listing
{
public:
    Listing(const FileSystem &fs, Findings &findings)
        : m_fs(fs)
        , m_findings(findings)
    {
    }

    void collect(const CardInode &folder);
    void readSizes();
    void write() const;

private:
    const FileSystem &m_fs;
    Findings &m_findings;
    std::string m_names;
    std::vector<Entry> m_entries;
};

void Listing::collect(const CardInode &folder)
{
    forEachEntry(m_fs, folder, m_findings, [this](const FolderEntry &entry) {
        if (entry.name == "." || entry.name == "..")
            return true;
        if (!isListableName(entry.name)) {
            m_findings.addDamage("name-left-out");
            return true;
        }
        m_entries.push_back({entry.inode, static_cast<std::uint32_t>(m_names.size()),
                             static_cast<std::uint8_t>(entry.name.size())});
        m_names += entry.name;
        return true;
    });
}

/// In the order of the inode tables: a camera's folder is in the order of hashes, and each table block would
/// be read over and over.
void Listing::readSizes()
{
    std::vector<std::uint32_t> order(m_entries.size());
    std::iota(order.begin(), order.end(), 0U);
    std::sort(order.begin(), order.end(),
              [this](std::uint32_t a, std::uint32_t b) { return m_entries[a].inode < m_entries[b].inode; });
    for (const std::uint32_t index : order) {
        Entry &entry = m_entries[index];
        const std::optional<CardInode> inode = m_fs.readInode(entry.inode);
        entry.hasInode = inode.has_value();
        if (!inode || !inode->isTrusted)
            m_findings.addDamage(inode ? "inode-checksum" : "inode-wrong");
        if (inode)
            entry.size = EXT2_I_SIZE(&inode->data);
    }
}

void writeAll(std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = ::write(STDOUT_FILENO, text.data(), text.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw Failure(ExitStatus::Target, "output-not-written", errno);
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

void Listing::write() const
{
    constexpr std::size_t pieceSize = 65536;
    std::string lines;
    for (const Entry &entry : m_entries) {
        if (!entry.hasInode)
            continue;
        lines += std::to_string(entry.inode) + ' ';
        lines.append(m_names, entry.nameAt, entry.nameLength);
        lines += ' ' + std::to_string(entry.size) + '\n';
        if (lines.size() >= pieceSize) {
            writeAll(lines);
            lines.clear();
        }
    }
    writeAll(lines);
}

} // namespace

void listFolder(const FileSystem &fs, const CardInode &folder, Findings &findings)
{
    if (!LINUX_S_ISDIR(folder.data.i_mode))
        throw Failure(ExitStatus::NotFound, "not-a-folder");
    Listing listing(fs, findings);
    listing.collect(folder);
    listing.readSizes();
    listing.write();
}
