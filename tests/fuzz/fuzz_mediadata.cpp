#include "media/embeddeddata.h"
#include "media/mediadata.h"

#include <cstdint>
#include <cstdlib>
#include <QFile>
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
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        std::abort();
    const BlockPlaces places = findBlocks(file);
    for (const auto &ofKind : places.ofKind) {
        qint64 end = 0;
        for (const BlockPlace &place : ofKind) {
            if (place.length < 0 || place.offset < end + 8)
                std::abort();
            end = place.offset + place.length;
        }
        if (end > static_cast<qint64>(size))
            std::abort();
    }
    const QJsonArray records = parseMediaData(path);
    if (decodeMediaData(QJsonDocument(records).toJson()).records.value_or(QList<MediaData>()).size()
        != records.size())
        std::abort();
    return 0;
}
