#pragma once

#include <array>
#include <memory>
#include <QSize>
#include <QtGlobal>

enum class PixelLayout {
    Yuv420,
    Yuv422,
    Yuv444,
    Nv12,
    Grey
}; ///< all 8 bits a sample, planar (Nv12: second plane UV pairs)
enum class ColourMatrix { Bt601, Bt709, Bt2020 };

/// One plane of a picture: height rows of width samples, stride bytes apart (stride is at least the bytes of
/// a row).
struct PicturePlane {
    const uchar *data = nullptr;
    int stride = 0;
    QSize size;
};

/// One decoded picture. Immutable, and shared between the decoder, the main thread and the render thread.
struct VideoFrame {
    QSize size; ///< in samples, cropped, before rotation
    PixelLayout layout = PixelLayout::Yuv420;
    ColourMatrix matrix = ColourMatrix::Bt709;
    bool isFullRange = false;
    int rotation = 0; ///< degrees clockwise to turn the picture for showing: 0, 90, 180 or 270
    double sampleAspectRatio = 1.0; ///< width of a sample over its height
    std::array<PicturePlane, 3> planes; ///< as many as the layout needs
    double seconds = 0; ///< on the axis of its track, which begins at 0
    quint64 serial = 0; ///< raised by each seek of its player: frames of an older serial are outdated
    std::shared_ptr<const void> memory; ///< keeps the planes alive
};
using VideoFramePtr = std::shared_ptr<const VideoFrame>;
