// Does with a file system what "ls" and "read" do. The input are its blocks of 1 KiB that hold anything, each
// behind its number (two bytes, the lower one first), since a journal makes an image large. Files have names
// of one letter.

#include "blockmap.h"
#include "carddevice.h"
#include "directory.h"
#include "extraction.h"
#include "pathlookup.h"
#include <algorithm>
#include <cstdlib>
#include <span>
#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr int maximumFiles = 20;
constexpr std::size_t blockSize = 1024;
constexpr unsigned blockCount = 4096;

std::string targetPath()
{
    static char folder[] = "/tmp/fuzz_ext4util.XXXXXX";
    static const char *const made = mkdtemp(folder);
    return made == nullptr ? std::abort(), std::string() : std::string(made) + "/target";
}

void extract(const CardDevice &device, const FileSystem &fs, const std::vector<std::string> &path,
             Findings &findings)
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

UniqueFd imageOf(std::span<const unsigned char> input)
{
    UniqueFd image(memfd_create("card", MFD_CLOEXEC));
    if (!image.isOpen() || ftruncate(image.get(), blockSize * blockCount) != 0)
        std::abort();
    while (input.size() > 2) {
        const unsigned number = (input[0] | unsigned{input[1]} << 8) % blockCount;
        const auto block = input.subspan(2, std::min(blockSize, input.size() - 2));
        if (pwrite(image.get(), block.data(), block.size(), static_cast<off_t>(number * blockSize)) < 0)
            std::abort();
        input = input.subspan(2 + block.size());
    }
    return image;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    const CardDevice device(imageOf({data, size}), 0);
    Findings findings;
    try {
        const FileSystem fs(device, findings);
        walk(device, fs, findings);
    } catch (const Failure &) {
    } catch (const std::bad_alloc &) {
    }
    return 0;
}
