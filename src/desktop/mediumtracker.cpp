#include "mediumtracker.h"

MediumTracker::Outcome MediumTracker::update(const Report &report)
{
    const QString &path = report.disk.devicePath;
    if (!report.hasMedium)
        return remove(path);
    const auto known = m_sequences.constFind(path);
    const bool wasPresent = known != m_sequences.cend();
    const bool isSwapped = wasPresent && report.isMediumChange && *known != report.sequence;
    m_sequences.insert(path, report.sequence);
    if (wasPresent && !isSwapped)
        return {};
    Outcome outcome;
    if (isSwapped)
        outcome.disappeared = path;
    outcome.appeared = report.disk;
    return outcome;
}

MediumTracker::Outcome MediumTracker::remove(const QString &devicePath)
{
    Outcome outcome;
    if (m_sequences.remove(devicePath) > 0)
        outcome.disappeared = devicePath;
    return outcome;
}
