#include "card/tooloutput.h"
#include "common/text.h"

#include <cstdint>
#include <cstdlib>

/// Any output gives entries of one word each, and a report made of nothing but known messages.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    const QString output = text::decodeUtf8Repairing(QByteArrayView(bytes, static_cast<qsizetype>(size)));
    const QStringList names = tooloutput::parseListing(output, false);
    const QStringList entries = tooloutput::parseListing(output, true);
    if (names.size() != entries.size())
        std::abort();
    for (qsizetype i = 0; i < names.size(); ++i) {
        const tooloutput::ListedFile file = tooloutput::parseSizedEntry(entries[i]);
        const bool isWord =
            !names[i].isEmpty() && names[i].simplified() == names[i] && !names[i].contains(u' ');
        if (!isWord || names[i] == u"." || names[i] == u".." || !names[i].startsWith(file.name))
            std::abort();
        if (tooloutput::isUsableName(file.name) && file.name.contains(u'/'))
            std::abort();
    }
    const QString report = tooloutput::damageReport(output);
    if (!report.isEmpty() && tooloutput::damageReport(report) != report)
        std::abort();
    return 0;
}
