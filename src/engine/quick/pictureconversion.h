#pragma once

#include "engine/videoframe.h"

#include <memory>
#include <QImage>

struct SwsContext;

/// Makes ordinary pictures of decoded ones on the processor, for where the graphics card can't. One thread.
class PictureConverter
{
public:
    PictureConverter();
    ~PictureConverter();
    Q_DISABLE_COPY_MOVE(PictureConverter)

    /// A complete frame, turned upright and scaled to this size in pixels; a null image if it can't be had.
    [[nodiscard]] QImage convert(const VideoFrame &frame, QSize shown);

private:
    struct FreeContext {
        void operator()(SwsContext *context) const noexcept;
    };
    std::unique_ptr<SwsContext, FreeContext> m_context; // kept from picture to picture
};
