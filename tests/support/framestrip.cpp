#include "framestrip.h"

#include "samplecard/framemark.h"

namespace {

constexpr double leastContrast = 40; // between black and white cells, of 255

/// A picture inside an image, asked by fractions of its width and height.
struct View {
    const QImage &image;
    QRectF picture;
    bool mirrorX = false;
    bool mirrorY = false;

    /// Mean brightness of the inner part of a place, away from blurred edges.
    [[nodiscard]] double brightness(QRectF place) const
    {
        if (mirrorX)
            place.moveLeft(1 - place.right());
        if (mirrorY)
            place.moveTop(1 - place.bottom());
        double sum = 0;
        int count = 0;
        for (const double v : {0.38, 0.5, 0.62})
            for (const double u : {0.3, 0.4, 0.5, 0.6, 0.7}) {
                const QPointF at(picture.x() + picture.width() * (place.x() + u * place.width()),
                                 picture.y() + picture.height() * (place.y() + v * place.height()));
                const QPoint pixel(static_cast<int>(at.x()), static_cast<int>(at.y()));
                if (!image.rect().contains(pixel))
                    return 0;
                sum += qGray(image.pixel(pixel));
                ++count;
            }
        return sum / count;
    }

    /// What parts black from white, none if the corner cells aren't those of a strip.
    [[nodiscard]] std::optional<double> threshold() const
    {
        double darkestWhite = 255;
        double lightestBlack = 0;
        for (const framemark::Corner &corner : framemark::corners) {
            const double value = brightness(framemark::cellRect(corner.cell));
            if (corner.isWhite)
                darkestWhite = std::min(darkestWhite, value);
            else
                lightestBlack = std::max(lightestBlack, value);
        }
        if (darkestWhite - lightestBlack < leastContrast)
            return std::nullopt;
        return (darkestWhite + lightestBlack) / 2;
    }
};

std::optional<FrameStrip> readView(const View &view)
{
    const std::optional<double> threshold = view.threshold();
    if (!threshold)
        return std::nullopt;
    unsigned word = 0;
    for (int cell = 0; cell < framemark::cellCount; ++cell)
        if (!framemark::isCorner(cell))
            word = (word << 1) | (view.brightness(framemark::cellRect(cell)) > *threshold ? 1U : 0U);
    const unsigned value = word >> framemark::checkBits;
    if (framemark::checksum(value) != (word & ((1U << framemark::checkBits) - 1)))
        return std::nullopt;
    return FrameStrip{static_cast<int>(value >> framemark::numberBits),
                      static_cast<int>(value & ((1U << framemark::numberBits) - 1)), view.mirrorX,
                      view.mirrorY};
}

} // namespace

std::optional<FrameStrip> readFrameStrip(const QImage &image, std::optional<QRectF> picture)
{
    for (const bool mirrorY : {false, true})
        for (const bool mirrorX : {false, true})
            if (const auto strip =
                    readView({image, picture.value_or(QRectF(image.rect())), mirrorX, mirrorY}))
                return strip;
    return std::nullopt;
}

std::optional<bool> readFlash(const QImage &image, std::optional<QRectF> picture)
{
    const View view{image, picture.value_or(QRectF(image.rect()))};
    const std::optional<double> threshold = view.threshold();
    if (!threshold)
        return std::nullopt;
    return view.brightness(framemark::lamp) > *threshold;
}
