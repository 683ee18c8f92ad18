#pragma once

#include "desktop/desktop.h"
#include "media/mediadata.h"
#include "repairfiles.h"
#include "toolrun.h"

#include <functional>
#include <optional>
#include <QCoroTask>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QThreadPool>

/// How a step of the work ended. Success is a target with a size; one that a full disk, a limit, a signal or
/// a stop left incomplete is removed and doesn't count.
struct WorkResult {
    ToolProblem problem = ToolProblem::None;
    QString reason; ///< in the tool's words, for the log; of a full disk its mount point

    [[nodiscard]] bool hasSucceeded() const { return problem == ToolProblem::None; }
};

/// What a rebuilding gave.
struct Recovery {
    bool isDescribed = false; ///< whether the recording tells of its channels; if not, nothing was tried
    WorkResult result;
    QStringList report; ///< frames found and lost in each channel, as the tool tells it
};

/// A recording that is to be made playable, and where.
struct PlayableRequest {
    QString source; ///< never written to
    bool isUnfinished = false; ///< the camera hasn't closed the file, so that it is rebuilt at once
    QString video; ///< gets the recording as a plain MP4; ends in ".mp4", and has RepairFiles beside it
    QString withSound; ///< gets the same with AAC sound, if there is any
    /// The number of sound tracks in a file.
    std::function<QCoro::Task<int>(QString path)> countSoundTracks;
    /// Told before a rebuilding begins: what is wrong with the recording, empty if it is unfinished.
    std::function<void(const QString &damage)> onRepair;
    std::stop_token stop; ///< ends the work, and the tool that runs for it
};

/// What can be played of it.
struct Playable {
    WorkResult result; ///< why there is nothing to play
    QString file; ///< request.withSound, or request.video where there is no sound or it can't be converted
    QString damage; ///< what was wrong with the recording; empty if it was sound or unfinished
    std::optional<Recovery> recovery; ///< if it had to be rebuilt
    int soundTracks = 0;
    WorkResult sound; ///< why the sound is missing or not AAC, although there are sound tracks
};

/// What the tools make of recordings that lie on the computer. Each operation deletes its target first; a
/// failed one leaves none. Sources that a command line can't tell as one word give nothing but a log line.
/// Where the disk is full, room is made once and the step tried again. A stop ends an operation soon, with
/// the tool that runs for it. Main thread.
class RecordingWork : public QObject
{
    Q_OBJECT
public:
    /// What the work needs of its owner.
    struct Means {
        std::function<QString()> toolFolder; ///< with a trailing "/"
        std::function<void(const QString &path)> discard; ///< a file; its space is free soon after
        std::function<QCoro::Task<bool>(quint64 bytes)> makeRoom;
        std::function<DiskSpace(const QString &folder)> diskSpace;
    };
    explicit RecordingWork(Means means, QObject *parent = nullptr);

    /// The whole way of a recording to something that every player takes: a copy of a sound one; what can be
    /// found in a damaged or unfinished one, with its sound put back; and AAC for the sound. Nobody else
    /// touches the request's files meanwhile.
    QCoro::Task<Playable> makePlayable(PlayableRequest request);

    /// Copies all streams into an MP4. Of a damaged recording the reason lists what is wrong with it, and the
    /// target stays if there is one.
    QCoro::Task<WorkResult> remux(QString source, QString target, std::stop_token stop);
    /// Copies the video and makes the first audio stream AAC.
    QCoro::Task<WorkResult> convertAudio(const QString &source, const QString &target, std::stop_token stop);
    /// One video stream, from 0, with the first audio stream as AAC.
    QCoro::Task<WorkResult> extractChannelWithAudio(const QString &source, int index, const QString &target,
                                                    std::stop_token stop);
    /// One video stream, from 0, alone.
    QCoro::Task<WorkResult> extractChannel(const QString &source, int index, const QString &target,
                                           std::stop_token stop);
    /// The channels that the recording's own telemetry describes. Scans the whole file, on a worker.
    QCoro::Task<std::optional<QList<VideoChannel>>> videoInfo(QString path);
    /// Rebuilds a recording as an MP4, its sound in a file of its own beside it.
    QCoro::Task<Recovery> recover(QString source, QString target, std::stop_token stop);
    /// Puts the sound that recover() left beside the video back into it, as AAC. Without sound, or where a
    /// step fails, the video stays as it is.
    QCoro::Task<WorkResult> mergeAudio(QString video, std::stop_token stop);

private:
    struct Step; ///< one run of a tool
    QCoro::Task<WorkResult> carryOut(Step step);
    QCoro::Task<WorkResult> carryOutOnce(Step step);
    QCoro::Task<WorkResult> carryOutPlain(QString operation, Step step);
    QCoro::Task<WorkResult> join(QString video, RepairFiles made, std::stop_token stop);
    QCoro::Task<> move(QString from, QString to);
    QCoro::Task<> rebuild(PlayableRequest request, Playable *playable);
    QCoro::Task<> addSound(PlayableRequest request, Playable *playable);
    [[nodiscard]] WorkResult judge(const ToolResult &tool, const QString &target) const;

    Means m_means;
    QThreadPool m_workers; ///< a click doesn't wait for scans that others have in the global one
};
