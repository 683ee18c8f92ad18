// Takes the input for a damaged recording, finds what is in it and writes what was found. A corpus to begin
// with are the first 100 kB or so of recordings by samplecard --recording, with and without their index.

#include "common/mappedfile.h"
#include "failure.h"
#include "finder.h"
#include "writing/repair.h"

#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

extern "C" {
#include <libavutil/log.h>
}

namespace {

std::string targetPath()
{
    static char folder[] = "/tmp/fuzz_mp4recover.XXXXXX";
    static const char *const made = mkdtemp(folder);
    return made == nullptr ? std::abort(), std::string() : std::string(made) + "/target.mp4";
}

/// What the writer relies on.
void check(const Findings &findings, std::size_t size)
{
    const auto require = [](bool holds) {
        if (!holds)
            std::abort();
    };
    for (const Unit &unit : findings.units)
        require(unit.offset >= 4 && unit.size > 0 && unit.offset <= size && unit.size <= size - unit.offset);
    for (const Channel &channel : findings.channels) {
        for (const Picture &picture : channel.pictures)
            require(picture.unitCount > 0
                    && std::size_t{picture.firstUnit} + picture.unitCount <= findings.units.size());
    }
    for (const Span &stretch : findings.sound.stretches)
        require(stretch.offset <= size && stretch.size <= size - stretch.offset);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    static const std::string target = targetPath();
    av_log_set_level(AV_LOG_QUIET);
    const int memory = memfd_create("recording", MFD_CLOEXEC);
    if (memory < 0 || write(memory, data, size) != static_cast<ssize_t>(size))
        std::abort();
    const auto file = MappedFile::ofDescriptor(memory);
    close(memory);
    if (!file)
        std::abort();
    const auto ignoreProgress = [](double) {};
    for (const auto &channels : {std::vector<ChannelRequest>{}, {{640, 360, 30}, {480, 270, 30}}}) {
        const Findings findings = findRecording(*file, channels, ignoreProgress);
        check(findings, size);
        try {
            static_cast<void>(repair(file->bytes(), findings, target, ignoreProgress));
        } catch (const Failure &) { // an answer like any other
        }
        unlink(target.c_str());
        unlink(soundPathFor(target).c_str());
    }
    return 0;
}
