#include "common/text.h"
#include "settings/text/settingstext.h"

#include <cstdint>
#include <cstdlib>

/// Any text gives a dictionary of trimmed keys and values without "=", and written out once more the same
/// one.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    const QString input = text::decodeUtf8Repairing(QByteArrayView(bytes, static_cast<qsizetype>(size)));
    const SettingsDictionary settings = parseSettings(input);
    QString written;
    for (auto entry = settings.begin(); entry != settings.end(); ++entry) {
        if (entry.key().contains(u'=') || entry.value().contains(u'='))
            std::abort();
        written += entry.key() + u'=' + entry.value() + u'\n';
    }
    if (parseSettings(written) != settings)
        std::abort();
    return 0;
}
