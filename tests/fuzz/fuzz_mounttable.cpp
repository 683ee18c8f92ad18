#include "desktop/mounttable.h"
#include "kerneltables.h"

#include <cstdint>
#include <cstdlib>

/// Any text is a table as the kernel writes it, or none; what the viewer takes for a volume stands in it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char *>(bytes), size);
    const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    const auto mounts = parseMountTable(text);
    const auto swaps = parseSwapTable(text);
    if ((mounts && mounts->size() != lines) || (swaps && swaps->size() + 1 != lines) || (mounts && swaps))
        std::abort();
    const QList<MountEntry> entries = parseMountInfo({text.data(), static_cast<qsizetype>(size)});
    // Whoever decides by the stricter reading mustn't miss what the other one finds.
    if (mounts && static_cast<std::size_t>(entries.size()) > mounts->size())
        std::abort();
    const auto deviceOf = [](const QString &number) {
        return std::optional(MountedDevice{number.startsWith(u'8'), QStringLiteral("NO NAME")});
    };
    if (volumesAmong(entries, deviceOf).size() > entries.size())
        std::abort();
    return 0;
}
