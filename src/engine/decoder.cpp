#include "decoder.h"

#include <algorithm>
#include <QThread>

namespace {

constexpr int64_t mostPixels = 8192LL * 8192;
constexpr int64_t pixelsForOneThread = 2560LL * 1440; // larger pictures get more, if cores are left

/// The channels are the parallelism: one thread each, which is also the quickest way to seek.
int decoderThreads(const TrackReader &reader)
{
    const AVCodecParameters &codec = *reader.stream().codecpar;
    if (int64_t{codec.width} * codec.height <= pixelsForOneThread)
        return 1;
    return std::clamp(QThread::idealThreadCount() / std::max(reader.videoTrackCount(), 1), 1, 4);
}

} // namespace

CodecPtr openDecoder(const TrackReader &reader, MovieError *error)
{
    const AVStream &stream = reader.stream();
    const AVCodec *codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (!codec) {
        *error = {MovieError::Kind::Unsupported,
                  QStringLiteral("No decoder for %1")
                      .arg(QLatin1String(avcodec_get_name(stream.codecpar->codec_id)))};
        return nullptr;
    }
    CodecPtr decoder(avcodec_alloc_context3(codec));
    int result = decoder ? avcodec_parameters_to_context(decoder.get(), stream.codecpar) : AVERROR(ENOMEM);
    if (result >= 0) {
        decoder->pkt_timebase = stream.time_base;
        decoder->thread_count = decoderThreads(reader);
        decoder->max_pixels = mostPixels;
        decoder->flags |= AV_CODEC_FLAG_OUTPUT_CORRUPT; // a damaged picture says more than none
        result = avcodec_open2(decoder.get(), codec, nullptr);
    }
    if (result >= 0)
        return decoder;
    *error = MovieError::ofLibav(result);
    return nullptr;
}
