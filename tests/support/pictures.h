#pragma once

#include "engine/videoframe.h"

#include <QByteArray>
#include <vector>

/// A colour as a decoder gives it.
struct Samples {
    int luma;
    int blueDifference;
    int redDifference;
};

/// Makes pictures whose rows are padded with bytes that must never be seen.
class Picture
{
public:
    static constexpr int padding = 11;

    template <typename ColourAt> static VideoFrame of(PixelLayout layout, QSize size, ColourAt colourAt)
    {
        VideoFrame frame;
        frame.size = size;
        frame.layout = layout;
        const QSize half((size.width() + 1) / 2, (size.height() + 1) / 2);
        auto bytes = std::make_shared<std::vector<QByteArray>>();
        const auto plane = [&](QSize planeSize, int stepX, int stepY, std::vector<int Samples::*> parts) {
            const int stride = planeSize.width() * int(parts.size()) + padding;
            // libswscale may read a little beyond the last row, as it may with real decoders' pictures.
            QByteArray rows(stride * planeSize.height() + 64, char(0xAA));
            for (int y = 0; y < planeSize.height(); ++y) {
                for (int x = 0; x < planeSize.width(); ++x) {
                    const Samples colour = colourAt(x * stepX, y * stepY);
                    for (size_t part = 0; part < parts.size(); ++part)
                        rows[y * stride + x * int(parts.size()) + int(part)] = char(colour.*parts[part]);
                }
            }
            bytes->push_back(rows);
            return PicturePlane{reinterpret_cast<const uchar *>(bytes->back().constData()), stride,
                                planeSize};
        };
        const auto luma = &Samples::luma;
        const auto blue = &Samples::blueDifference;
        const auto red = &Samples::redDifference;
        frame.planes[0] = plane(size, 1, 1, {luma});
        switch (layout) {
        case PixelLayout::Yuv420:
            frame.planes[1] = plane(half, 2, 2, {blue});
            frame.planes[2] = plane(half, 2, 2, {red});
            break;
        case PixelLayout::Yuv422:
            frame.planes[1] = plane({half.width(), size.height()}, 2, 1, {blue});
            frame.planes[2] = plane({half.width(), size.height()}, 2, 1, {red});
            break;
        case PixelLayout::Yuv444:
            frame.planes[1] = plane(size, 1, 1, {blue});
            frame.planes[2] = plane(size, 1, 1, {red});
            break;
        case PixelLayout::Nv12: frame.planes[1] = plane(half, 2, 2, {blue, red}); break;
        case PixelLayout::Grey: break;
        }
        frame.memory = bytes;
        return frame;
    }

    static VideoFrame filled(PixelLayout layout, QSize size, Samples colour)
    {
        return of(layout, size, [colour](int, int) { return colour; });
    }
};
