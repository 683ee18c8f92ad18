#pragma once

#include "common/avhandles.h"
#include "videoframe.h"

/// Turns decoded pictures into frames: those in one of the layouts of VideoFrame without a copy, others
/// through libswscale. One thread at a time.
class FrameConverter
{
public:
    /// None if the picture can't be converted. Keeps its own reference to the picture.
    VideoFramePtr convert(const AVFrame &picture, AVRational sampleAspectRatio, int rotation, double seconds,
                          quint64 serial);

private:
    FramePtr toYuv420(const AVFrame &picture);

    ScalerPtr m_scaler;
};

/// Degrees clockwise, to the next quarter turn, that a stream asks its pictures to be turned by.
int rotationOf(const AVStream &stream);
