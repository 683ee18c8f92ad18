#pragma once

#include "desktop.h"

#include <memory>
#include <optional>
#include <QFileSystemWatcher>
#include <QTemporaryDir>

/// An image file taken as the card in a reader. It can be taken out and put in again; an image that vanishes
/// from its folder is taken out, too, and one that comes back is put in.
class ImageDiskWatcher : public DiskWatcher
{
    Q_OBJECT
public:
    explicit ImageDiskWatcher(const QString &imagePath, QObject *parent = nullptr);
    bool start() override;

    void eject();
    void insert();
    [[nodiscard]] bool hasCard() const { return m_isPresent; }
    /// The image's absolute path, or a link to it where a shell would not take that path as it stands.
    [[nodiscard]] QString devicePath() const { return m_devicePath; }

private:
    void update();

    QString m_imagePath; // absolute
    std::unique_ptr<QTemporaryDir> m_linkFolder; // removed with its link at the end of the run
    QString m_devicePath;
    QFileSystemWatcher m_files;
    bool m_isStarted = false;
    bool m_isInserted = true; // by whoever holds the image
    bool m_isPresent = false; // as it was announced
};

/// The real desktop's tools and disk space with an image file as the card: a removable whole disk of model
/// "SD image" in an ImageDiskWatcher. volumeFolder stands for the card's mounted FAT volume. Consent is
/// granted without asking and without any change, since the caller can read the image.
[[nodiscard]] std::unique_ptr<Desktop> makeImageDesktop(const QString &imagePath,
                                                        const std::optional<QString> &volumeFolder);

/// The same without any card, for work on files: no disks and no volumes.
[[nodiscard]] std::unique_ptr<Desktop> makeCardlessDesktop();
