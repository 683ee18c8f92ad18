#include "toolcommands.h"

#include "common/text.h"

namespace {

QString firstSoundAsAac() { return QStringLiteral("-map 0:a:0 -c:v copy -c:a aac -ar 44100 -b:a 64k"); }

QString quoted(const QString &text) { return u'\'' + text::quotedForShell(text) + u'\''; }

QString ext4util(const QString &toolFolder, const QString &verb, const QString &device,
                 const QString &cardPath)
{
    return quoted(toolFolder + QStringLiteral("ext4util")) + u' ' + verb + u' ' + device + u' '
        + QString::number(toolcommands::ext4Offset) + u' ' + cardPath;
}

QString ffmpeg(const QString &toolFolder, const QString &source, const QString &options,
               const QString &target)
{
    return quoted(toolFolder + QStringLiteral("ffmpeg")) + QStringLiteral(" -i ") + source + u' ' + options
        + u' ' + quoted(target);
}

} // namespace

QString toolcommands::list(const QString &toolFolder, const QString &device, const QString &cardPath)
{
    return ext4util(toolFolder, QStringLiteral("ls"), device, cardPath);
}

QString toolcommands::extract(const QString &toolFolder, const QString &device, const QString &cardPath,
                              const QString &target)
{
    return ext4util(toolFolder, QStringLiteral("read"), device, cardPath) + u' ' + quoted(target);
}

QString toolcommands::remux(const QString &toolFolder, const QString &source, const QString &target)
{
    return ffmpeg(toolFolder, quoted(source), QStringLiteral("-map 0 -c copy"), target);
}

QString toolcommands::convertAudio(const QString &toolFolder, const QString &source, const QString &target)
{
    return ffmpeg(toolFolder, source, QStringLiteral("-map 0:v ") + firstSoundAsAac(), target);
}

QString toolcommands::extractChannelWithAudio(const QString &toolFolder, const QString &source, int index,
                                              const QString &target)
{
    return ffmpeg(toolFolder, source, QStringLiteral("-map 0:v:%1 ").arg(index) + firstSoundAsAac(), target);
}

QString toolcommands::extractChannel(const QString &toolFolder, const QString &source, int index,
                                     const QString &target)
{
    return ffmpeg(toolFolder, source, QStringLiteral("-map 0:v:%1 -c:v copy").arg(index), target);
}

QString toolcommands::recover(const QString &toolFolder, const QString &source, const QString &target,
                              const QList<VideoChannel> &channels)
{
    QString line = quoted(toolFolder + QStringLiteral("mp4recover")) + u' ' + quoted(source) + u' '
        + quoted(target) + u' ';
    for (qsizetype i = 0; i < channels.size(); ++i) {
        const VideoChannel &channel = channels[i];
        line += QStringLiteral(" --ch%1 %2x%3@%4")
                    .arg(i + 1)
                    .arg(channel.width)
                    .arg(channel.height)
                    .arg(channel.fps);
    }
    return line;
}

QString toolcommands::mergeAudio(const QString &toolFolder, const QString &video, const QString &sound,
                                 const QString &target)
{
    return ffmpeg(toolFolder, video + QStringLiteral(" -i ") + sound,
                  QStringLiteral("-map 0:v -map 1:a -c copy -shortest"), target);
}
