#include "card/soundtail.h"
#include "common/mpegaudio.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <QString>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr rlim_t largestSound = 1 << 20;

void fill(int file, std::span<const std::uint8_t> bytes)
{
    if (ftruncate(file, 0) != 0 || pwrite(file, bytes.data(), bytes.size(), 0) != std::ssize(bytes))
        std::abort();
}

} // namespace

/// An MP4 and an MP3, of the same length: the sound only ever grows, by whole frames of silence.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const int movie = memfd_create("movie", MFD_CLOEXEC);
    static const int sound = memfd_create("sound", MFD_CLOEXEC);
    static const bool isLimited = [] {
        const struct rlimit limit {
            largestSound, largestSound
        };
        std::signal(SIGXFSZ, SIG_IGN);
        return setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }();
    if (!isLimited)
        std::abort();
    const std::span<const std::uint8_t> input(data, size);
    const auto mp3 = input.subspan(size / 2);
    fill(movie, input.first(size / 2));
    fill(sound, mp3);
    for (auto rest = mp3; !rest.empty(); rest = rest.subspan(1)) {
        const auto header = mpegAudioHeaderAt(rest);
        if (header && (header->frameSize < 4 || header->sampleRateHz <= 0 || header->samplesPerFrame <= 0))
            std::abort();
    }
    const auto pathOf = [](int file) { return QStringLiteral("/proc/self/fd/%1").arg(file); };
    extendSound(pathOf(sound), pathOf(movie));
    std::vector<std::uint8_t> now(mp3.size());
    if (pread(sound, now.data(), now.size(), 0) != std::ssize(now)
        || !std::equal(now.begin(), now.end(), mp3.begin()))
        std::abort();
    return 0;
}
