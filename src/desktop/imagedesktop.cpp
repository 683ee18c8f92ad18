#include "imagedesktop.h"

#include "common/text.h"
#include "toollookup.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QStringList>

namespace {

// The path goes on command lines as it stands. "/disk" is left out because the name of a disk's raw twin is
// derived by a replacement of that text.
bool isUsableAsDevicePath(const QString &path)
{
    return text::isPlainShellWord(path) && !path.contains(u"/disk");
}

std::unique_ptr<QTemporaryDir> makePlainlyNamedFolder()
{
    const QStringList bases{QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation),
                            QDir::tempPath(), QStringLiteral("/tmp"), QStringLiteral("/var/tmp")};
    for (const QString &base : bases) {
        if (base.isEmpty() || !isUsableAsDevicePath(base))
            continue;
        auto folder = std::make_unique<QTemporaryDir>(base + QStringLiteral("/vornex-card-XXXXXX"));
        if (folder->isValid())
            return folder;
    }
    return nullptr;
}

/// An image is read with the user's own rights.
class NeedlessConsent : public AdministratorConsent
{
public:
    [[nodiscard]] bool isNeeded() const override { return false; }
    QCoro::Task<QString> makeSetUserIdRoot(QString) override { co_return QString(); }
};

class ImageVolumeList : public VolumeList
{
public:
    ImageVolumeList(const ImageDiskWatcher &card, const std::optional<QString> &folder)
        : m_card(card)
    {
        if (folder)
            m_folder = QFileInfo(*folder).absoluteFilePath();
    }

    [[nodiscard]] VolumeListing listing() const override
    {
        if (m_folder.isEmpty() || !m_card.hasCard() || !QFileInfo(m_folder).isDir())
            return {};
        return {{{QStringLiteral("NO NAME"), QDir::cleanPath(m_folder), m_card.devicePath()}}, {}};
    }

    QCoro::Task<> waitForVolumeOf(QString) override { co_return; }

private:
    const ImageDiskWatcher &m_card;
    QString m_folder;
};

} // namespace

ImageDiskWatcher::ImageDiskWatcher(const QString &imagePath, QObject *parent)
    : DiskWatcher(parent)
    , m_imagePath(QDir::cleanPath(QFileInfo(imagePath).absoluteFilePath()))
    , m_devicePath(m_imagePath)
{
    if (isUsableAsDevicePath(m_imagePath))
        return;
    m_linkFolder = makePlainlyNamedFolder();
    if (!m_linkFolder)
        return;
    m_devicePath = m_linkFolder->filePath(QStringLiteral("card.img"));
    QFile::link(m_imagePath, m_devicePath);
}

bool ImageDiskWatcher::start()
{
    if (!isUsableAsDevicePath(m_devicePath))
        return false;
    m_isStarted = true;
    // The folder tells of a file that comes or goes under this name, by whatever means.
    m_files.addPath(QFileInfo(m_imagePath).path());
    connect(&m_files, &QFileSystemWatcher::directoryChanged, this, &ImageDiskWatcher::update);
    QMetaObject::invokeMethod(this, &ImageDiskWatcher::update, Qt::QueuedConnection);
    return true;
}

void ImageDiskWatcher::eject()
{
    m_isInserted = false;
    update();
}

void ImageDiskWatcher::insert()
{
    m_isInserted = true;
    update();
}

void ImageDiskWatcher::update()
{
    const bool isPresent = m_isStarted && m_isInserted && QFileInfo(m_imagePath).isFile();
    if (isPresent == m_isPresent)
        return;
    m_isPresent = isPresent;
    if (isPresent)
        Q_EMIT appeared({m_devicePath, true, true, QStringLiteral("SD image")});
    else
        Q_EMIT disappeared(m_devicePath);
}

std::unique_ptr<Desktop> makeImageDesktop(const QString &imagePath,
                                          const std::optional<QString> &volumeFolder)
{
    auto watcher = std::make_unique<ImageDiskWatcher>(imagePath);
    auto desktop = makeCardlessDesktop();
    desktop->volumeList = std::make_unique<ImageVolumeList>(*watcher, volumeFolder);
    desktop->diskWatcher = std::move(watcher); // outlives the list, which looks at it
    return desktop;
}

std::unique_ptr<Desktop> makeCardlessDesktop()
{
    auto desktop = std::make_unique<Desktop>();
    desktop->consent = std::make_unique<NeedlessConsent>();
    desktop->bundledTool = findBundledTool;
    desktop->diskSpace = diskSpaceOf;
    return desktop;
}
