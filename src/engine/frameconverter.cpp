#include "frameconverter.h"

#include <cmath>

extern "C" {
#include <libavutil/display.h>
#include <libavutil/pixdesc.h>
}

namespace {

std::optional<PixelLayout> layoutOf(int format)
{
    switch (format) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P: return PixelLayout::Yuv420;
    case AV_PIX_FMT_YUV422P:
    case AV_PIX_FMT_YUVJ422P: return PixelLayout::Yuv422;
    case AV_PIX_FMT_YUV444P:
    case AV_PIX_FMT_YUVJ444P: return PixelLayout::Yuv444;
    case AV_PIX_FMT_NV12: return PixelLayout::Nv12;
    case AV_PIX_FMT_GRAY8: return PixelLayout::Grey;
    default: return std::nullopt;
    }
}

/// Files that don't tell follow the custom of their picture size.
ColourMatrix matrixOf(const AVFrame &picture)
{
    switch (picture.colorspace) {
    case AVCOL_SPC_BT709: return ColourMatrix::Bt709;
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
    case AVCOL_SPC_FCC: return ColourMatrix::Bt601;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL: return ColourMatrix::Bt2020;
    default: return picture.height >= 720 ? ColourMatrix::Bt709 : ColourMatrix::Bt601;
    }
}

bool isFullRange(const AVFrame &picture)
{
    return picture.color_range == AVCOL_RANGE_JPEG || picture.format == AV_PIX_FMT_YUVJ420P
        || picture.format == AV_PIX_FMT_YUVJ422P || picture.format == AV_PIX_FMT_YUVJ444P;
}

void setPlanes(VideoFrame *frame, const AVFrame &picture)
{
    const AVPixFmtDescriptor *format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
    const int planeCount = av_pix_fmt_count_planes(static_cast<AVPixelFormat>(picture.format));
    for (int i = 0; i < planeCount && i < static_cast<int>(frame->planes.size()); i++) {
        const int width = i == 0 ? picture.width : AV_CEIL_RSHIFT(picture.width, format->log2_chroma_w);
        const int height = i == 0 ? picture.height : AV_CEIL_RSHIFT(picture.height, format->log2_chroma_h);
        frame->planes[static_cast<size_t>(i)] = {picture.data[i], picture.linesize[i], QSize(width, height)};
    }
}

} // namespace

VideoFramePtr FrameConverter::convert(const AVFrame &picture, AVRational sampleAspectRatio, int rotation,
                                      double seconds, quint64 serial)
{
    const bool isDirect = layoutOf(picture.format).has_value();
    FramePtr kept = isDirect ? FramePtr(av_frame_clone(&picture)) : toYuv420(picture);
    if (!kept)
        return nullptr;
    auto frame = std::make_shared<VideoFrame>();
    frame->size = QSize(kept->width, kept->height);
    frame->layout = *layoutOf(kept->format);
    frame->matrix = matrixOf(picture);
    frame->isFullRange = isDirect && isFullRange(picture);
    frame->rotation = rotation;
    if (sampleAspectRatio.num > 0 && sampleAspectRatio.den > 0)
        frame->sampleAspectRatio = av_q2d(sampleAspectRatio);
    setPlanes(frame.get(), *kept);
    frame->seconds = seconds;
    frame->serial = serial;
    frame->memory = std::shared_ptr<const AVFrame>(kept.release(), AvDelete<av_frame_free>());
    return frame;
}

FramePtr FrameConverter::toYuv420(const AVFrame &picture)
{
    FramePtr target(av_frame_alloc());
    if (!target)
        return nullptr;
    target->format = AV_PIX_FMT_YUV420P;
    target->width = picture.width;
    target->height = picture.height;
    if (av_frame_get_buffer(target.get(), 0) < 0)
        return nullptr;
    m_scaler.reset(sws_getCachedContext(
        m_scaler.release(), picture.width, picture.height, static_cast<AVPixelFormat>(picture.format),
        picture.width, picture.height, AV_PIX_FMT_YUV420P, SWS_POINT, nullptr, nullptr, nullptr));
    if (!m_scaler)
        return nullptr;
    // The matrix stays that of the picture, the range becomes the limited one.
    const int *matrix = sws_getCoefficients(picture.colorspace);
    sws_setColorspaceDetails(m_scaler.get(), matrix, isFullRange(picture) ? 1 : 0, matrix, 0, 0, 1 << 16,
                             1 << 16);
    const int rows = sws_scale(m_scaler.get(), picture.data, picture.linesize, 0, picture.height,
                               target->data, target->linesize);
    return rows > 0 ? std::move(target) : nullptr;
}

int rotationOf(const AVStream &stream)
{
    size_t size = 0;
    const uint8_t *matrix = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    if (!matrix || size < 9 * sizeof(int32_t))
        return 0;
    const double counterClockwise = av_display_rotation_get(reinterpret_cast<const int32_t *>(matrix));
    if (!std::isfinite(counterClockwise))
        return 0;
    const int quarters = static_cast<int>(std::lround(-counterClockwise / 90.0));
    return (quarters % 4 + 4) % 4 * 90;
}
