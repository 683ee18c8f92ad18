#include "media/nmea.h"
#include "media/timestamp.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

/// Any text gives finite numbers or nothing, and a time only in the one form.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    const QString text =
        QString::fromLatin1(reinterpret_cast<const char *>(bytes), static_cast<qsizetype>(size));
    for (const QString &sentence : {text, QStringLiteral("$GPRMC,") + text}) {
        const auto data = parseGPRMC(sentence);
        if (data
            && !(std::isfinite(data->latitude) && std::isfinite(data->longitude)
                 && std::isfinite(data->course)))
            std::abort();
        const auto time = gprmcTimestamp(sentence, false);
        if (time && time->size() != 19)
            std::abort();
    }
    return 0;
}
