#include "mirror.h"

#include "common/log.h"
#include "files.h"

#include <algorithm>
#include <QCoroSignal>
#include <QFileInfo>
#include <QPointer>
#include <QStorageInfo>

namespace {

constexpr quint64 leastSpaceLeft = 2'000'000'000; // bytes
constexpr quint64 leastShareLeft = 20; // one part in this many

Extraction cardGone() { return {Extraction::Outcome::CardGone, 0, {}}; }

/// By the exit status of ext4util.
Extraction::Outcome outcomeOf(int status)
{
    switch (status) {
    case 0: return Extraction::Outcome::Whole;
    case 4: return Extraction::Outcome::Missing;
    case 5:
    case 6: return Extraction::Outcome::Incomplete;
    default: return Extraction::Outcome::ToolFailed;
    }
}

bool isRecording(const QString &cardPath) { return cardPath.count(u'/') == 2; }

} // namespace

Mirror::Mirror(QString folder, Extractor extractor, DiskSpaceOf diskSpaceOf, QObject *parent)
    : QObject(parent)
    , m_folder(std::move(folder))
    , m_extractor(std::move(extractor))
    , m_diskSpaceOf(std::move(diskSpaceOf))
    , m_trash(m_folder)
{
}

void Mirror::clear()
{
    ++m_session;
    m_entries.clear();
    m_inUse.clear();
    for (const char *folder : {"cfg", "mov"}) {
        const QString error = discard(m_folder + QLatin1String(folder));
        if (!error.isEmpty())
            logLine(QStringLiteral("[FileExtractor] deleteDirectory failed: ") + error);
    }
}

void Mirror::clearLeftovers()
{
    clear();
    m_trash.remove(SessionFolder::takeAbandoned(SessionFolder::usualPlaces()));
}

void Mirror::setInUse(const QStringList &cardPaths) { m_inUse = {cardPaths.cbegin(), cardPaths.cend()}; }

QCoro::Task<Extraction> Mirror::extract(QString cardPath, quint64 listedSize)
{
    const QPointer<Mirror> self(this);
    const quint64 session = m_session;
    bool hasWaited = false;
    while (m_running.contains(cardPath)) {
        hasWaited = true;
        co_await qCoro(this, &Mirror::extractionEnded);
        if (!self || session != m_session)
            co_return cardGone();
    }
    if (hasWaited && m_entries.contains(cardPath))
        co_return m_entries.value(cardPath).last;
    if (const auto extraction = known(cardPath)) {
        m_entries[cardPath] = {*extraction, ++m_uses};
        co_return *extraction;
    }
    m_running.insert(cardPath);
    const Extraction extraction = co_await run(cardPath, listedSize);
    if (!self)
        co_return cardGone();
    m_running.remove(cardPath);
    if (session == m_session)
        m_entries[cardPath] = {extraction, ++m_uses};
    Q_EMIT extractionEnded();
    co_return extraction;
}

/// What needs no extraction.
std::optional<Extraction> Mirror::known(const QString &cardPath) const
{
    const quint64 size = files::size(fileOf(cardPath));
    const Extraction last = m_entries.value(cardPath).last;
    if (last.isWhole() && last.size == size && QFileInfo::exists(fileOf(cardPath)))
        return last;
    if (!m_inUse.contains(cardPath) || size == 0)
        return std::nullopt;
    return Extraction{Extraction::Outcome::Incomplete, size, last.reason};
}

QCoro::Task<Extraction> Mirror::run(QString cardPath, quint64 listedSize)
{
    const QPointer<Mirror> self(this);
    const quint64 session = m_session;
    const DiskSpace space = m_diskSpaceOf(m_folder);
    if (listedSize > space.available && listedSize <= space.total) {
        co_await makeRoom(listedSize);
        if (!self || session != m_session)
            co_return cardGone();
    }
    Extraction extraction = co_await runOnce(cardPath, listedSize);
    if (!self || extraction.outcome != Extraction::Outcome::DiskFull)
        co_return extraction;
    // A quota shows in no sum of free space.
    const quint64 available = m_diskSpaceOf(m_folder).available;
    const bool hasRoom = co_await makeRoom(available < listedSize ? listedSize : available + listedSize);
    if (!self || session != m_session)
        co_return cardGone();
    if (hasRoom)
        extraction = co_await runOnce(cardPath, listedSize);
    co_return extraction;
}

QCoro::Task<Extraction> Mirror::runOnce(QString cardPath, quint64 listedSize)
{
    using Outcome = Extraction::Outcome;
    const QPointer<Mirror> self(this);
    const quint64 session = m_session;
    const QString target = fileOf(cardPath);
    const ToolEnd end = co_await m_extractor(cardPath, target);
    if (!self)
        co_return cardGone();
    Extraction extraction{outcomeOf(end.status), files::size(target), end.messages};
    if (session != m_session)
        extraction = cardGone();
    else if (extraction.isWhole() && !QFileInfo::exists(target))
        extraction.outcome = Outcome::ToolFailed;
    else if (extraction.isWhole() && extraction.size < listedSize)
        extraction.outcome = Outcome::Incomplete;
    if (isFull(end, listedSize) && extraction.outcome != Outcome::CardGone)
        extraction = {Outcome::DiskFull, 0, disk()};
    if (!extraction.isWhole() && extraction.outcome != Outcome::Incomplete) {
        extraction.size = 0;
        const QString error = discard(target);
        if (!error.isEmpty())
            logLine(QStringLiteral("[FileExtractor] deleteDirectory failed: ") + error);
    }
    co_return extraction;
}

bool Mirror::isFull(const ToolEnd &end, quint64 listedSize) const
{
    if (end.status == 0)
        return false;
    const bool isTold =
        end.messages.contains(u"No-space-left-on-device") || end.messages.contains(u"Disk-quota-exceeded");
    const DiskSpace space = m_diskSpaceOf(m_folder);
    const bool isFound = space.available < listedSize && listedSize <= space.total;
    return isTold || (isFound && outcomeOf(end.status) == Extraction::Outcome::ToolFailed);
}

QCoro::Task<bool> Mirror::makeRoom(quint64 bytes)
{
    const QPointer<Mirror> self(this);
    const quint64 session = m_session;
    const auto fits = [this, bytes] {
        const DiskSpace space = m_diskSpaceOf(m_folder);
        return space.total == 0 || space.available >= bytes;
    };
    QStringList candidates = removable();
    while (!fits()) {
        co_await m_trash.emptied();
        if (!self || session != m_session)
            co_return false;
        if (fits())
            break;
        while (!candidates.isEmpty() && !removable().contains(candidates.first()))
            candidates.removeFirst();
        if (candidates.isEmpty())
            co_return false;
        const QString cardPath = candidates.takeFirst();
        m_entries.remove(cardPath);
        const QString error = discard(fileOf(cardPath));
        logLine(QStringLiteral("[FileExtractor] freed for others: ") + cardPath + u' ' + error);
        Q_EMIT freed(cardPath);
    }
    co_return true;
}

/// Recordings that nobody uses, those first that nobody asked for longest.
QStringList Mirror::removable() const
{
    QStringList paths;
    for (auto entry = m_entries.cbegin(); entry != m_entries.cend(); ++entry) {
        if (isRecording(entry.key()) && entry->last.size > 0 && !m_inUse.contains(entry.key())
            && !m_running.contains(entry.key()))
            paths.append(entry.key());
    }
    std::sort(paths.begin(), paths.end(), [this](const QString &a, const QString &b) {
        return m_entries.value(a).use < m_entries.value(b).use;
    });
    return paths;
}

bool Mirror::hasRoom(quint64 bytes) const
{
    const DiskSpace space = m_diskSpaceOf(m_folder);
    if (space.total == 0) // unknown; a full disk then ends each extraction by itself
        return true;
    const quint64 left = space.available > bytes ? space.available - bytes : 0;
    return left >= leastSpaceLeft && left >= space.total / leastShareLeft;
}

QString Mirror::disk() const { return QStorageInfo(m_folder).rootPath(); }
