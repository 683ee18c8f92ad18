#include "pictureconversion.h"

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}
#include <QByteArray>
#include <QTransform>

namespace {

AVPixelFormat pixelFormat(PixelLayout layout)
{
    switch (layout) {
    case PixelLayout::Yuv422: return AV_PIX_FMT_YUV422P;
    case PixelLayout::Yuv444: return AV_PIX_FMT_YUV444P;
    case PixelLayout::Nv12: return AV_PIX_FMT_NV12;
    case PixelLayout::Yuv420:
    case PixelLayout::Grey: break; // libswscale takes its own grey format for full range, whatever it is told
    }
    return AV_PIX_FMT_YUV420P;
}

int coefficients(ColourMatrix matrix)
{
    switch (matrix) {
    case ColourMatrix::Bt601: return SWS_CS_ITU601;
    case ColourMatrix::Bt2020: return SWS_CS_BT2020;
    case ColourMatrix::Bt709: break;
    }
    return SWS_CS_ITU709;
}

/// An image whose rows have the alignment and the spare bytes that libswscale writes to.
QImage paddedImage(QSize size)
{
    constexpr int alignment = 64;
    const int stride = (size.width() * 4 + 2 * alignment - 1) / alignment * alignment;
    auto *bytes = static_cast<uchar *>(av_malloc(size_t(stride) * size_t(size.height() + 1)));
    if (!bytes)
        return {};
    return {bytes, size.width(), size.height(), stride, QImage::Format_RGB32, av_free, bytes};
}

} // namespace

PictureConverter::PictureConverter() = default;
PictureConverter::~PictureConverter() = default;

void PictureConverter::FreeContext::operator()(SwsContext *context) const noexcept
{
    sws_freeContext(context);
}

QImage PictureConverter::convert(const VideoFrame &frame, QSize shown)
{
    const bool isOnItsSide = frame.rotation == 90 || frame.rotation == 270;
    const QSize target = isOnItsSide ? shown.transposed() : shown;
    m_context.reset(sws_getCachedContext(m_context.release(), frame.size.width(), frame.size.height(),
                                         pixelFormat(frame.layout), target.width(), target.height(),
                                         AV_PIX_FMT_RGB32, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!m_context)
        return {};
    const int *table = sws_getCoefficients(coefficients(frame.matrix));
    constexpr int one = 1 << 16;
    sws_setColorspaceDetails(m_context.get(), table, frame.isFullRange ? 1 : 0, table, 1, 0, one, one);

    std::array<const uchar *, 4> planes{frame.planes[0].data, frame.planes[1].data, frame.planes[2].data,
                                        nullptr};
    std::array<int, 4> strides{frame.planes[0].stride, frame.planes[1].stride, frame.planes[2].stride, 0};
    QByteArray neutral;
    if (frame.layout == PixelLayout::Grey) {
        strides[1] = strides[2] = frame.size.width() / 2 + 64;
        neutral.fill(char(128), qsizetype(strides[1]) * (frame.size.height() / 2 + 1));
        planes[1] = planes[2] = reinterpret_cast<const uchar *>(neutral.constData());
    }
    QImage image = paddedImage(target);
    if (image.isNull())
        return {};
    const std::array<uchar *, 4> rows{image.bits(), nullptr, nullptr, nullptr};
    const std::array<int, 4> rowStrides{int(image.bytesPerLine()), 0, 0, 0};
    const int rowCount = sws_scale(m_context.get(), planes.data(), strides.data(), 0, frame.size.height(),
                                   rows.data(), rowStrides.data());
    if (rowCount != target.height())
        return {};
    return frame.rotation == 0 ? image : image.transformed(QTransform().rotate(frame.rotation));
}
