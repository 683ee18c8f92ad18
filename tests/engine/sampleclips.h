#pragma once

#include <QSize>
#include <QStringList>
#include <QTemporaryDir>

/// Small recordings in the forms that are met: made by samplecard, re-made by ffmpeg. Each frame carries its
/// channel and number.
class SampleClips
{
public:
    static constexpr int seconds = 4;
    static constexpr double framesPerSecond = 30;

    explicit SampleClips(int channels = 2, int length = seconds, QSize picture = {320, 180});
    /// Channels of 30 frames a second and sound; key frames each second.
    [[nodiscard]] QString plain() const { return m_folder.filePath(QStringLiteral("plain.mp4")); }
    /// The plain one (input 0) through ffmpeg; made once for each name.
    QString remade(const QString &name, const QStringList &options);
    QString path(const QString &name) const { return m_folder.filePath(name); }

private:
    QTemporaryDir m_folder;
};
