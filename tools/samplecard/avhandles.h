#pragma once

#include <concepts>
#include <memory>
#include <QString>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
#include <libswscale/swscale.h>
}

template <auto Free> struct AvDelete {
    template <typename T> void operator()(T *object) const noexcept
    {
        if constexpr (std::invocable<decltype(Free), T **>)
            Free(&object);
        else
            Free(object);
    }
};
using CodecPtr = std::unique_ptr<AVCodecContext, AvDelete<avcodec_free_context>>;
using FormatPtr = std::unique_ptr<AVFormatContext, AvDelete<avformat_free_context>>;
using FramePtr = std::unique_ptr<AVFrame, AvDelete<av_frame_free>>;
using PacketPtr = std::unique_ptr<AVPacket, AvDelete<av_packet_free>>;
using ScalerPtr = std::unique_ptr<SwsContext, AvDelete<sws_freeContext>>;

inline QString avErrorText(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}
