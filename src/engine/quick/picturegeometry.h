#pragma once

#include "engine/videoframe.h"

#include <array>
#include <QMatrix4x4>
#include <QPointF>
#include <QRectF>

/// The planes of a layout and their sizes, for a picture of any size (odd ones are rounded up).
struct PlaneLayout {
    int count = 0;
    int bytesPerSample = 1; ///< of the planes behind the first
    QSize chromaSize; ///< in samples
    QRectF chromaArea; ///< what the picture covers of the chroma planes, in shares of them
};
[[nodiscard]] PlaneLayout planeLayout(PixelLayout layout, QSize size);

/// Whether each plane is there and as large as the layout needs it.
[[nodiscard]] bool isComplete(const VideoFrame &frame);

/// Where the picture goes inside an area: the largest rectangle of its aspect, centred. Rotation and the
/// shape of the samples count.
[[nodiscard]] QRectF fittedRect(const VideoFrame &frame, QSizeF area);

/// The points of the upright picture (0 to 1 on both axes) that stand at the top left, top right, bottom left
/// and bottom right of what is shown.
[[nodiscard]] std::array<QPointF, 4> shownCorners(int rotation);

/// From (luma, blue difference, red difference, 1), each as 0 to 1 of its byte, to red, green, blue.
[[nodiscard]] QMatrix4x4 colourMatrix(ColourMatrix matrix, bool isFullRange);
