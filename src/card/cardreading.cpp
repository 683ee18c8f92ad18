#include "processmanager.h"

#include "common/log.h"
#include "common/text.h"
#include "desktop/desktop.h"
#include "desktop/mounttable.h"
#include "files.h"
#include "processvalues.h"
#include "settings/text/settingstext.h"
#include "tooloutput.h"

#include <algorithm>
#include <QCoroSignal>
#include <QFile>
#include <QPointer>

using processvalues::cardDevicePath;
using processvalues::tempRoot;

namespace {

/// Lets no path out of the mirror's folder, and none that a shell would take for more than one word.
bool isUsablePath(const QString &path)
{
    const QStringList parts = path.split(u'/');
    return std::all_of(parts.begin(), parts.end(), tooloutput::isUsableName);
}

/// Names come from the card, and a card may be hostile.
bool isUsable(const QString &folder, const QString &name)
{
    if (tooloutput::isUsableName(name))
        return true;
    logLine(QStringLiteral("[FileExtractor] left out, not a plain name: ") + folder + u'/' + name);
    return false;
}

/// The card's FAT volume by its name: the one on the card's own disk, else the first.
std::optional<Volume> findCardVolume(const QList<Volume> &volumes)
{
    const QString disk = cardDevicePath().value_or(QString());
    const auto isNamed = [](const Volume &volume) { return volume.name == u"NO NAME"; };
    const auto isOwn = [&](const Volume &volume) {
        return isNamed(volume) && isOnDisk(volume.devicePath, disk);
    };
    auto found = std::find_if(volumes.begin(), volumes.end(), isOwn);
    if (found == volumes.end())
        found = std::find_if(volumes.begin(), volumes.end(), isNamed);
    return found == volumes.end() ? std::nullopt : std::optional(*found);
}

} // namespace

QCoro::Task<QStringList> ProcessManager::ls(QString path, bool withSize)
{
    const auto device = cardDevicePath();
    if (!device)
        co_return QStringList();
    if (!text::isPlainShellWord(*device) || !text::isPlainShellWord(path)) {
        logLine(QStringLiteral("[FileExtractor] not listed, no plain path: ") + *device + u' ' + path);
        co_return QStringList();
    }
    const ToolResult listed = co_await runTool(toolcommands::list(helperRoot(), *device, path), 0);
    co_return tooloutput::parseListing(listed.output, withSize);
}

QCoro::Task<> ProcessManager::read(QString path) { co_await extract(std::move(path), 0); }

QCoro::Task<Extraction> ProcessManager::extract(QString cardPath, quint64 listedSize)
{
    const auto device = cardDevicePath();
    if (!device)
        co_return Extraction{Extraction::Outcome::CardGone, 0, {}};
    if (!text::isPlainShellWord(*device) || !isUsablePath(cardPath)) {
        logLine(QStringLiteral("[FileExtractor] not read, no plain path: ") + *device + u' ' + cardPath);
        co_return Extraction{Extraction::Outcome::Missing, 0, {}};
    }
    Extraction extraction = co_await m_mirror.extract(cardPath, listedSize);
    if (cardDevicePath() != device)
        extraction = {Extraction::Outcome::CardGone, 0, {}};
    co_return extraction;
}

QCoro::Task<Mirror::ToolEnd> ProcessManager::runExtraction(QString cardPath, QString target)
{
    constexpr quint64 longestFile = quint64{4} << 30; // the size isn't known here
    const QString device = cardDevicePath().value_or(QString());
    const QString command = toolcommands::extract(helperRoot(), device, cardPath, target);
    const ToolResult result = co_await runTool(command, longestFile);
    const bool isExited = result.end == ToolResult::End::Exited;
    Mirror::ToolEnd end;
    end.status = isExited ? result.status : -1;
    end.messages = isExited ? result.messages.simplified() : result.summary();
    co_return end;
}

/// The work of a reading goes on only while nobody asked for another one and its card is in.
bool ProcessManager::isCurrent(quint64 reading) const
{
    return reading == m_reading && m_readDevice == cardDevicePath();
}

QCoro::Task<FileList> ProcessManager::readFileList()
{
    const QPointer<ProcessManager> self(this);
    const quint64 reading = ++m_reading;
    while (m_isReading) { // a tool of the other reading still writes into the mirror
        co_await qCoro(this, &ProcessManager::readingEnded);
        if (!self || reading != m_reading)
            co_return FileList();
    }
    m_isReading = true;
    m_readDevice = cardDevicePath();
    FileList files = co_await readCard(reading);
    if (!self)
        co_return FileList();
    m_isReading = false;
    Q_EMIT readingEnded();
    co_return files;
}

QCoro::Task<FileList> ProcessManager::readCard(quint64 reading)
{
    const QPointer<ProcessManager> self(this);
    m_bbox.clear();
    Q_EMIT bboxChanged();
    m_data.clear();
    Q_EMIT dataChanged();
    m_mirror.clear();
    ensureDirectoryExists(tempRoot() + QStringLiteral("cfg"));
    ensureDirectoryExists(tempRoot() + QStringLiteral("mov"));
    co_await readSettings(reading);
    if (self && isCurrent(reading))
        co_await readIndexFiles(reading);
    FileList files;
    const QStringList folders{QStringLiteral("normal"), QStringLiteral("event"), QStringLiteral("park"),
                              QStringLiteral("manual"), QStringLiteral("saved")};
    for (const QString &folder : folders) {
        if (!self || !isCurrent(reading))
            co_return FileList();
        ensureDirectoryExists(tempRoot() + QStringLiteral("mov/") + folder);
        files += co_await listRecordings(folder);
    }
    if (!self || !isCurrent(reading))
        co_return FileList();
    co_return files;
}

QCoro::Task<> ProcessManager::readSettings(quint64 reading)
{
    const QPointer<ProcessManager> self(this);
    const QString folder = QStringLiteral("cfg");
    const QStringList entries = co_await ls(folder, false);
    for (const QString &entry : entries) {
        if (!self || !isCurrent(reading))
            co_return;
        if (entry.startsWith(u"cfg") || !isUsable(folder, entry))
            continue;
        m_bbox.append(entry);
        Q_EMIT bboxChanged();
        co_await read(folder + u'/' + entry);
    }
    if (!self || !isCurrent(reading))
        co_return;
    const auto shipped = readConfig(QStringLiteral("bbox.ini"));
    const auto current = readConfig(QStringLiteral("bbox.cfg"));
    if (current || shipped)
        passSettingsOn(current ? *current : *shipped, reading); // goes on beside the listing
    if (shipped)
        countChannels(*shipped);
}

/// The FAT volume gets the camera's settings as soon as the desktop has mounted it.
QCoro::Task<> ProcessManager::passSettingsOn(QString text, quint64 reading)
{
    const QPointer<ProcessManager> self(this);
    const QString disk = m_readDevice.value_or(QString());
    const auto volume = findCardVolume(m_desktop.volumeList->listing().volumes);
    if (!volume || !isOnDisk(volume->devicePath, disk))
        co_await m_desktop.volumeList->waitForVolumeOf(disk);
    if (self && isCurrent(reading))
        saveToSDCard(QStringLiteral("bbox.cfg"), text);
}

void ProcessManager::countChannels(const QString &settings)
{
    const SettingsDictionary values = parseSettings(settings);
    int count = 0;
    for (int channel = 1; channel <= 5; ++channel) {
        const QString key = QStringLiteral("ch%1_resol").arg(channel);
        if (text::parseInteger(values.value(key)).value_or(0) > 0)
            ++count;
    }
    processvalues::setRecordedChannelCount(count);
}

QCoro::Task<> ProcessManager::readIndexFiles(quint64 reading)
{
    const QPointer<ProcessManager> self(this);
    const QString folder = QStringLiteral("mov");
    const QStringList entries = co_await ls(folder, false);
    for (const QString &entry : entries) {
        if (!self || !isCurrent(reading))
            co_return;
        if (!entry.startsWith(u"flist") || !isUsable(folder, entry))
            continue;
        m_data.append(entry);
        Q_EMIT dataChanged();
        co_await read(folder + u'/' + entry);
    }
}

QCoro::Task<FileList> ProcessManager::listRecordings(QString folder)
{
    const QString path = QStringLiteral("mov/") + folder;
    const QStringList entries = co_await ls(path, true);
    FileList files;
    for (const QString &entry : entries) {
        const tooloutput::ListedFile listed = tooloutput::parseSizedEntry(entry);
        if (listed.name.startsWith(u"mov") || listed.name.contains(u'/') || !isUsable(path, listed.name))
            continue;
        FileListItem item;
        item.type = folder;
        item.name = listed.name;
        item.size = listed.size;
        files.append(item);
    }
    co_return files;
}

std::optional<QString> ProcessManager::readConfig(const QString &name) const
{
    const QString path = tempRoot() + QStringLiteral("cfg/") + name;
    if (!QFile::exists(path)) {
        logLine(QStringLiteral("[FileExtractor] File not found: ") + path);
        return std::nullopt;
    }
    files::ReadText file = files::readText(path);
    if (!file.text)
        logLine(QStringLiteral("[FileExtractor] Error reading file: ") + file.error);
    return std::move(file.text);
}

std::optional<QString> ProcessManager::getSDCardPath(const QString &name) const
{
    const VolumeListing listing = m_desktop.volumeList->listing();
    if (!listing.error.isEmpty())
        logLine(QStringLiteral("FileExtractor] getSDCardPath failed: ") + listing.error);
    const auto volume = findCardVolume(listing.volumes);
    if (!volume)
        return std::nullopt;
    return volume->rootPath + u'/' + name;
}

std::optional<QString> ProcessManager::readSDCard(const QString &name) const
{
    const auto path = getSDCardPath(name);
    if (!path)
        return std::nullopt;
    files::ReadText file = files::readText(*path);
    if (!file.text)
        logLine(QStringLiteral("[FileExtractor] readSDCard failed: ") + file.error);
    return std::move(file.text);
}

void ProcessManager::saveToSDCard(const QString &name, const QString &text)
{
    const auto path = getSDCardPath(name);
    if (!path) {
        logLine(QStringLiteral("[FileExtractor] getSDCardPath failed"));
        return;
    }
    const QString error = files::saveText(*path, text);
    logLine(error.isEmpty() ? QStringLiteral("[FileExtractor] saveToSDCard to ") + *path
                            : QStringLiteral("[FileExtractor] saveToSDCard failed: ") + error);
}
