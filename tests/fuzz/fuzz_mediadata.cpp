#include "common/mappedfile.h"
#include "media/embeddeddata.h"
#include "media/resampling.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <QJsonArray>
#include <QJsonDocument>
#include <sys/mman.h>
#include <unistd.h>

/// Whatever a file holds, blocks lie inside it and don't overlap within a kind, and each record of theirs
/// decodes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    static const int descriptor = memfd_create("recording", 0);
    if (ftruncate(descriptor, 0) != 0 || pwrite(descriptor, bytes, size, 0) != static_cast<ssize_t>(size))
        std::abort();
    const QString path = QStringLiteral("/proc/self/fd/%1").arg(descriptor);
    const auto file = MappedFile::ofDescriptor(descriptor);
    if (!file)
        std::abort();
    const std::uint8_t *const begin = file->bytes().data();
    std::array<const std::uint8_t *, blockKindCount> ends{begin, begin, begin};
    findBlocks(*file, [&](BlockKind kind, std::span<const uchar> payload) {
        const std::uint8_t *&end = ends[static_cast<std::size_t>(kind)];
        if (payload.data() < end + 8)
            std::abort();
        end = payload.data() + payload.size();
        if (end > begin + size)
            std::abort();
    });
    const MediaRecords records = parseMediaData(path).records;
    const auto check = [](const QJsonObject &object) {
        if (!decodeMediaData(QJsonDocument(QJsonArray{object}).toJson()).records)
            std::abort();
    };
    for (const VideoInfo &info : records.videoInfos)
        check(encodeMediaData(info));
    for (const GPSInfo &position : records.positions)
        check(encodeMediaData(position));
    for (const GSensorInfo &acceleration : records.accelerations)
        check(encodeMediaData(acceleration));
    const auto noJitter = [] { return 0.0; };
    (void)resampling::resampled(records, static_cast<double>(size % 1000), noJitter);
    return 0;
}
