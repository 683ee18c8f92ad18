#include "common/mappedfile.h"
#include "media/embeddeddata.h"
#include "media/mediadata.h"

#include <array>
#include <cstdint>
#include <cstdlib>
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
    const QJsonArray records = parseMediaData(path);
    if (decodeMediaData(QJsonDocument(records).toJson()).records.value_or(QList<MediaData>()).size()
        != records.size())
        std::abort();
    return 0;
}
