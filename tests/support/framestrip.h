#pragma once

#include <optional>
#include <QImage>
#include <QRectF>

/// Reads back what `samplecard` draws into every frame, from a decoded frame or from a grabbed window.
struct FrameStrip {
    int channel = 0; ///< from 1
    int frameNumber = 0; ///< from 0, in the channel's own order
    bool isMirroredHorizontally = false;
    bool isMirroredVertically = false;
};

/// The strip of the picture that fills `picture` (in pixels of the image; the whole image if none is given).
/// None if no strip with a right checksum is there. Holds down to pictures about 150 pixels wide, for any
/// brightness that leaves black and white apart, and for mirrored pictures.
[[nodiscard]] std::optional<FrameStrip> readFrameStrip(const QImage &image,
                                                       std::optional<QRectF> picture = {});

/// Whether the lamp of that (unmirrored) picture is lit: the first tenth of each second. None if there is no
/// strip.
[[nodiscard]] std::optional<bool> readFlash(const QImage &image, std::optional<QRectF> picture = {});
