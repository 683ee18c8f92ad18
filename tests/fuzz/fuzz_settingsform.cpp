#include "common/text.h"
#include "settings/settingsviewmodel.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

/// What a form that has read these files saves.
QString saved(const QString &ini, const QString &cfg)
{
    QString text;
    SettingsViewModel form({[&ini](const QString &) { return std::optional(ini); },
                            [&cfg](const QString &) { return std::optional(cfg); },
                            [&text](const QString &, const QString &written) { text = written; }});
    form.loadSettings();
    form.saveSettings();
    return text;
}

} // namespace

/// Two files with a zero byte between: whatever they say, a form can be read and saved, and one that is
/// opened on what was saved saves the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    const std::uint8_t *const end = bytes + size;
    const std::uint8_t *const border = std::find(bytes, end, 0);
    const QString ini = text::decodeUtf8Repairing(QByteArrayView(bytes, border));
    const QString cfg = text::decodeUtf8Repairing(QByteArrayView(std::min(border + 1, end), end));
    const QString once = saved(ini, cfg);
    if (!once.startsWith(u"[bbox]\n") || saved(ini, once) != once)
        std::abort();
    return 0;
}
