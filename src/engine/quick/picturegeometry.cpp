#include "picturegeometry.h"

#include <cmath>

namespace {

struct LumaWeights {
    double red;
    double blue;
};

// ITU-R BT.601-7 section 2.5.1, BT.709-6 item 3.2, BT.2020-2 table 4.
LumaWeights lumaWeights(ColourMatrix matrix)
{
    switch (matrix) {
    case ColourMatrix::Bt601: return {0.299, 0.114};
    case ColourMatrix::Bt2020: return {0.2627, 0.0593};
    case ColourMatrix::Bt709: break;
    }
    return {0.2126, 0.0722};
}

bool liesOnItsSide(int rotation) { return rotation == 90 || rotation == 270; }

} // namespace

PlaneLayout planeLayout(PixelLayout layout, QSize size)
{
    const int halfWidth = (size.width() + 1) / 2;
    const int halfHeight = (size.height() + 1) / 2;
    // A sample of half the width lies on the left one of its two luma samples, as in MPEG-2, H.264 and H.265
    // unless told otherwise; one of half the height lies between its two.
    const QRectF halfX(0.25 / halfWidth, 0, size.width() / (2.0 * halfWidth), 1);
    QRectF halfBoth = halfX;
    halfBoth.setHeight(size.height() / (2.0 * halfHeight));
    const QRectF whole(0, 0, 1, 1);
    switch (layout) {
    case PixelLayout::Yuv420: return {3, 1, {halfWidth, halfHeight}, halfBoth};
    case PixelLayout::Yuv422: return {3, 1, {halfWidth, size.height()}, halfX};
    case PixelLayout::Nv12: return {2, 2, {halfWidth, halfHeight}, halfBoth};
    case PixelLayout::Yuv444: return {3, 1, size, whole};
    case PixelLayout::Grey: break;
    }
    return {1, 1, {}, whole};
}

bool isComplete(const VideoFrame &frame)
{
    if (frame.size.isEmpty())
        return false;
    const PlaneLayout layout = planeLayout(frame.layout, frame.size);
    const auto holds = [](const PicturePlane &plane, int bytes) {
        return plane.data && plane.stride >= bytes;
    };
    if (!holds(frame.planes[0], frame.size.width()))
        return false;
    for (int plane = 1; plane < layout.count; ++plane) {
        if (!holds(frame.planes[size_t(plane)], layout.chromaSize.width() * layout.bytesPerSample))
            return false;
    }
    return true;
}

QRectF fittedRect(const VideoFrame &frame, QSizeF area)
{
    const double shape =
        std::isfinite(frame.sampleAspectRatio) && frame.sampleAspectRatio > 0 ? frame.sampleAspectRatio : 1.0;
    QSizeF shown(frame.size.width() * shape, frame.size.height());
    if (liesOnItsSide(frame.rotation))
        shown.transpose();
    shown.scale(area, Qt::KeepAspectRatio);
    return {QPointF((area.width() - shown.width()) / 2, (area.height() - shown.height()) / 2), shown};
}

std::array<QPointF, 4> shownCorners(int rotation)
{
    const QPointF topLeft(0, 0);
    const QPointF topRight(1, 0);
    const QPointF bottomLeft(0, 1);
    const QPointF bottomRight(1, 1);
    switch (rotation) {
    case 90: return {bottomLeft, topLeft, bottomRight, topRight};
    case 180: return {bottomRight, bottomLeft, topRight, topLeft};
    case 270: return {topRight, bottomRight, topLeft, bottomLeft};
    default: return {topLeft, topRight, bottomLeft, bottomRight};
    }
}

QMatrix4x4 colourMatrix(ColourMatrix matrix, bool isFullRange)
{
    const auto [red, blue] = lumaWeights(matrix);
    const double green = 1 - red - blue;
    // Limited range: luma from 16 to 235, differences from 16 to 240.
    const double lumaGain = isFullRange ? 1.0 : 255.0 / 219;
    const double chromaGain = isFullRange ? 1.0 : 255.0 / 224;
    const double lumaZero = isFullRange ? 0.0 : 16.0 / 255;
    const double chromaZero = 128.0 / 255;

    const double redOfRed = 2 * (1 - red) * chromaGain;
    const double blueOfBlue = 2 * (1 - blue) * chromaGain;
    const double greenOfBlue = -blueOfBlue * blue / green;
    const double greenOfRed = -redOfRed * red / green;
    const auto row = [&](double ofBlue, double ofRed) {
        return QVector4D(float(lumaGain), float(ofBlue), float(ofRed),
                         float(-lumaGain * lumaZero - (ofBlue + ofRed) * chromaZero));
    };
    QMatrix4x4 result;
    result.setRow(0, row(0, redOfRed));
    result.setRow(1, row(greenOfBlue, greenOfRed));
    result.setRow(2, row(blueOfBlue, 0));
    return result;
}
