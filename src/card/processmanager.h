#pragma once

#include "media/filelistitem.h"
#include "media/mediadata.h"
#include "mirror.h"
#include "recordingwork.h"
#include "toolcommands.h"
#include "toolrun.h"
#include "toolset.h"

#include <optional>
#include <QCoroTask>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <stop_token>

struct Desktop;

/// Installs the helper tools and does all work on the card and on recordings with them. Lives on the main
/// thread. Failure is an empty or false result and a log line; a tool succeeded if its output has a size
/// above 0. Paths on the card are relative to its ext4 root, such as "mov/normal/N_20240309_170559.mp4".
class ProcessManager : public QObject
{
    Q_OBJECT
public:
    static constexpr qint64 offset = toolcommands::ext4Offset; ///< of the card's ext4 file system, bytes

    /// The desktop has to outlive the manager.
    explicit ProcessManager(Desktop &desktop, QObject *parent = nullptr);

    [[nodiscard]] const QStringList &bbox() const { return m_bbox; } ///< names in the card's "cfg"
    [[nodiscard]] const QStringList &data() const { return m_data; } ///< index files in the card's "mov"
    /// Folder of the tool copies, with a trailing "/". Empty before setup().
    [[nodiscard]] const QString &helperRoot() const { return m_tools.folder(); }

    /// Makes the folders, installs the tools and has ext4util authorised. True if it can read a card as root.
    QCoro::Task<bool> setup();
    /// Whether the copy of the tool belongs to root and has the set-user-ID bit.
    [[nodiscard]] bool checkPrivilege(const QString &tool) const { return m_tools.checkPrivilege(tool); }
    QCoro::Task<bool> authorizeExt4Tool(QString tool) { return m_tools.authorize(std::move(tool)); }

    /// Ends every tool that runs for this object, as when the card is gone that it works on; who waits for
    /// one gets its result soon, as Cancelled. What is started afterwards runs as always.
    void endToolWork();

    void ensureDirectoryExists(const QString &path);
    /// Bytes, 0 if it can't be told. With inTemp the path is relative to tempRoot.
    [[nodiscard]] quint64 fileSize(const QString &path, bool inTemp) const;
    /// A file or a folder with its contents; links aren't followed. It is gone at once, its space soon after.
    void deleteDirectory(const QString &path);
    QCoro::Task<> deleted() { return m_mirror.emptied(); } ///< completes when that space is free
    /// Both remove a target first and work off the main thread.
    QCoro::Task<> copyFile(QUrl from, QUrl to);
    QCoro::Task<> rename(QString from, QString to);
    /// Whether, after this many more bytes, 2 GB and 5 % of tempRoot's disk would be left.
    [[nodiscard]] bool hasRoomForExtraction(quint64 nextBytes = 0) const;

    /// Names in a folder of the card, with size as name + "," + bytes. Empty without a card.
    QCoro::Task<QStringList> ls(QString path, bool withSize);
    /// Extracts a file to tempRoot + path, unless it lies there whole. Failure shows as a missing file.
    QCoro::Task<> read(QString path);
    /// The same with its outcome. Waits for a running extraction of the file, frees recordings that nobody
    /// uses if the disk is full. listedSize is what the card's list says; 0 is unknown.
    QCoro::Task<Extraction> extract(QString cardPath, quint64 listedSize);
    /// The recordings that play or are to be played next: never freed, never written over. A card's going
    /// ends that.
    void setRecordingsInUse(const QStringList &cardPaths);
    /// Frees recordings that nobody uses until this many bytes fit on tempRoot's disk. False if they don't.
    QCoro::Task<bool> makeRoom(quint64 bytes);
    [[nodiscard]] QString mirrorDisk() const; ///< the mount point of tempRoot's disk, for messages
    /// The complete reading of a card, in the order of its folders. Readings never run at the same time: one
    /// that a newer one overtook, or whose card is gone, touches nothing any more and gives an empty list.
    QCoro::Task<FileList> readFileList();
    [[nodiscard]] std::optional<QString> readConfig(const QString &name) const; ///< of the extracted "cfg"

    /// Path of a file on the card's FAT volume, whether or not it exists; none if the volume isn't mounted.
    [[nodiscard]] std::optional<QString> getSDCardPath(const QString &name) const;
    [[nodiscard]] std::optional<QString> readSDCard(const QString &name) const;
    void saveToSDCard(const QString &name, const QString &text);

    // Work on recordings outside of the card, see RecordingWork. endToolWork() ends it.

    /// The whole way of a recording to something that can be played.
    QCoro::Task<Playable> makePlayable(PlayableRequest request);
    /// Copies all streams into an MP4. Empty if the recording is sound, else what is wrong with it.
    QCoro::Task<QString> remux(QString src, QString dst);
    /// Copies the video and makes the first audio stream AAC.
    QCoro::Task<> convertAudio(QString src, QString dst);
    /// Copies one video stream, index from 0, and makes the first audio stream AAC.
    QCoro::Task<> extractChannelWithAudio(QString src, int index, QString dst);
    QCoro::Task<> extractChannel(QString src, int index, QString dst); ///< one video stream, from 0, alone
    /// The channels that the recording's own telemetry describes; none if it describes none or is damaged
    /// itself. Scans the whole file, on a worker.
    QCoro::Task<std::optional<QList<VideoChannel>>> getVideoInfo(QString path);
    /// Rebuilds a damaged or unfinished recording as an MP4, its sound in a file of its own beside it. False
    /// if there is no description of the channels to go by. Whether it worked shows in the target.
    QCoro::Task<bool> recoverMp4(QString src, QString dst);
    /// Puts the sound that recoverMp4() left beside the video back into it, as AAC. Without sound, or where a
    /// step fails, the video stays as it is.
    QCoro::Task<> mergeAudio(QString video);

Q_SIGNALS:
    void bboxChanged();
    void dataChanged();
    void readingEnded(); ///< of a card; the next one may begin
    void recordingFreed(const QString &cardPath); ///< it has to be extracted again before it can be played

private:
    QCoro::Task<ToolResult> runTool(QString command, quint64 inputBytes);
    [[nodiscard]] RecordingWork::Means meansOfWork();
    QCoro::Task<FileList> readCard(quint64 reading);
    QCoro::Task<> readSettings(quint64 reading);
    QCoro::Task<> readIndexFiles(quint64 reading);
    QCoro::Task<FileList> listRecordings(QString folder);
    QCoro::Task<> passSettingsOn(QString text, quint64 reading);
    QCoro::Task<Mirror::ToolEnd> runExtraction(QString cardPath, QString target);
    void countChannels(const QString &settings);
    [[nodiscard]] bool isCurrent(quint64 reading) const;

    Desktop &m_desktop;
    std::stop_source m_toolWork;
    ToolSet m_tools;
    QStringList m_bbox;
    QStringList m_data;
    quint64 m_reading = 0; ///< number of the newest reading
    bool m_isReading = false;
    std::optional<QString> m_readDevice; ///< the card of the reading that runs
    Mirror m_mirror;
    RecordingWork m_work;
};
