#pragma once

#include <array>
#include <concepts>
#include <memory>
#include <QString>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

/// Owners of libav's objects, for the engine and the tools. Target `avhandles`.

/// Deleter for av_frame_free(T **) and sws_freeContext(T *) alike.
template <auto Free> struct AvDelete {
    template <typename T> void operator()(T *object) const noexcept
    {
        if constexpr (std::invocable<decltype(Free), T **>)
            Free(&object);
        else
            Free(object);
    }
};

using DemuxerPtr = std::unique_ptr<AVFormatContext, AvDelete<avformat_close_input>>;
using MuxerPtr = std::unique_ptr<AVFormatContext, AvDelete<avformat_free_context>>;
using CodecPtr = std::unique_ptr<AVCodecContext, AvDelete<avcodec_free_context>>;
using PacketPtr = std::unique_ptr<AVPacket, AvDelete<av_packet_free>>;
using FramePtr = std::unique_ptr<AVFrame, AvDelete<av_frame_free>>;
using ScalerPtr = std::unique_ptr<SwsContext, AvDelete<sws_freeContext>>;
using ResamplerPtr = std::unique_ptr<SwrContext, AvDelete<swr_free>>;

inline QString avErrorText(int error)
{
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(error, text.data(), text.size());
    return QString::fromUtf8(text.data());
}
