#include "soundtail.h"

#include "common/mappedfile.h"
#include "common/mpegaudio.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QFile>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <optional>

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr double longestSeconds = 24 * 3600.0;
/// The last frame is coded with those behind it in mind, and pictures are asked for a little ahead.
constexpr double marginSeconds = 0.1;

std::optional<MappedFile> mapped(const QString &path)
{
    return MappedFile::open(QFile::encodeName(path).constData());
}

/// The content of the first box of that type among those that stand one behind the other (ISO/IEC 14496-12).
Bytes contentOf(Bytes boxes, QByteArrayView type)
{
    constexpr std::size_t header = 8;
    constexpr std::size_t longHeader = 16;
    while (boxes.size() >= header) {
        std::uint64_t size = qFromBigEndian<quint32>(boxes.data());
        const std::size_t begin = size == 1 ? longHeader : header;
        if (boxes.size() < begin)
            break;
        if (size == 1)
            size = qFromBigEndian<quint64>(boxes.data() + header);
        if (size < begin || size > boxes.size())
            break;
        const Bytes box = boxes.first(static_cast<std::size_t>(size));
        if (std::equal(type.begin(), type.end(), box.begin() + 4))
            return box.subspan(begin);
        boxes = boxes.subspan(box.size());
    }
    return {};
}

/// How long an MP4 says that it is; 0 if it doesn't.
double secondsOfMovie(Bytes file)
{
    const Bytes header = contentOf(contentOf(file, "moov"), "mvhd");
    // Version and flags, two times of 4 or 8 bytes, time scale, duration.
    const bool isLong = !header.empty() && header[0] == 1;
    const std::size_t scaleAt = isLong ? 20 : 12;
    if (header.size() < scaleAt + 12)
        return 0;
    const quint32 scale = qFromBigEndian<quint32>(header.data() + scaleAt);
    const std::uint8_t *duration = header.data() + scaleAt + 4;
    const auto ticks = isLong ? qFromBigEndian<quint64>(duration) : qFromBigEndian<quint32>(duration);
    return scale == 0 ? 0 : static_cast<double>(ticks) / scale;
}

struct Mp3 {
    double seconds = 0;
    Bytes lastFrame;
    MpegAudioHeader header;
};

Mp3 readMp3(Bytes file)
{
    Mp3 sound;
    while (!file.empty()) {
        const auto header = mpegAudioHeaderAt(file);
        if (!header || header->frameSize > file.size()) {
            file = file.subspan(1);
            continue;
        }
        sound.seconds += static_cast<double>(header->samplesPerFrame) / header->sampleRateHz;
        sound.lastFrame = file.first(header->frameSize);
        sound.header = *header;
        file = file.subspan(header->frameSize);
    }
    return sound;
}

/// A frame of silence like that one: nothing but zeros behind its header, which tells of no checksum.
QByteArray silenceLike(Bytes frame)
{
    QByteArray silence(static_cast<qsizetype>(frame.size()), '\0');
    std::copy_n(frame.begin(), 4, silence.begin());
    silence[1] = static_cast<char>(silence[1] | 1);
    return silence;
}

} // namespace

void extendSound(const QString &mp3, const QString &mp4)
{
    const auto soundFile = mapped(mp3);
    const auto movieFile = mapped(mp4);
    if (!soundFile || !movieFile)
        return;
    const double wanted = std::min(secondsOfMovie(movieFile->bytes()), longestSeconds) + marginSeconds;
    const Mp3 sound = readMp3(soundFile->bytes());
    if (sound.lastFrame.empty() || sound.seconds >= wanted)
        return;
    const QByteArray silence = silenceLike(sound.lastFrame);
    const double secondsOfFrame = double(sound.header.samplesPerFrame) / sound.header.sampleRateHz;
    QFile file(mp3);
    if (!file.open(QIODevice::Append))
        return;
    const auto frames = static_cast<qint64>(std::ceil((wanted - sound.seconds) / secondsOfFrame));
    for (qint64 i = 0; i < frames; ++i)
        file.write(silence);
}
