// Takes the input for a whole file system and does with it what "ls" and "read" do. A corpus to begin with
// are small images made by mke2fs, with files that have names of one letter:
//   mke2fs -qF -t ext4 -b 1024 -N 16 -O ^has_journal,^resize_inode -d FOLDER IMAGE 64

#include "blockmap.h"
#include "carddevice.h"
#include "directory.h"
#include "extraction.h"
#include "pathlookup.h"
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr int maximumFiles = 20;

std::string targetPath()
{
    static char folder[] = "/tmp/fuzz_ext4util.XXXXXX";
    static const char *const made = mkdtemp(folder);
    return made == nullptr ? std::abort(), std::string() : std::string(made) + "/target";
}

void extract(const CardDevice &device, const FileSystem &fs, const std::vector<std::string> &path, Findings &findings)
{
    static const std::string targetName = targetPath();
    try {
        const CardInode inode = lookUp(fs, path, findings);
        TargetFile target(targetName, device);
        extractFile(fs, inode, target, findings);
    } catch (const Failure &) { // an answer like any other
    }
    unlink(targetName.c_str());
}

void walk(const CardDevice &device, const FileSystem &fs, Findings &findings)
{
    std::vector<std::string> names;
    forEachEntry(fs, lookUp(fs, {}, findings), findings, [&names](const FolderEntry &entry) {
        names.emplace_back(entry.name);
        return names.size() < maximumFiles;
    });
    for (const std::string &name : names) {
        extract(device, fs, {name}, findings);
        extract(device, fs, {name, "a"}, findings);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    UniqueFd memory(memfd_create("card", MFD_CLOEXEC));
    if (!memory.isOpen() || write(memory.get(), data, size) != static_cast<ssize_t>(size))
        std::abort();
    const CardDevice device(std::move(memory), 0);
    Findings findings;
    try {
        const FileSystem fs(device, findings);
        walk(device, fs, findings);
    } catch (const Failure &) {
    } catch (const std::bad_alloc &) {
    }
    return 0;
}
