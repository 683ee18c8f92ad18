#pragma once

#include <chrono>
#include <memory>
#include <QString>
#include <type_traits>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

/// Deleter for av_frame_free(T **) and sws_freeContext(T *) alike.
template <auto Free> struct AvDelete {
    template <typename T> void operator()(T *object) const noexcept
    {
        if constexpr (std::is_invocable_v<decltype(Free), T **>)
            Free(&object);
        else
            Free(object);
    }
};

using FormatPtr = std::unique_ptr<AVFormatContext, AvDelete<avformat_close_input>>;
using CodecPtr = std::unique_ptr<AVCodecContext, AvDelete<avcodec_free_context>>;
using PacketPtr = std::unique_ptr<AVPacket, AvDelete<av_packet_free>>;
using DecodedPtr = std::unique_ptr<AVFrame, AvDelete<av_frame_free>>;
using ScalerPtr = std::unique_ptr<SwsContext, AvDelete<sws_freeContext>>;
using ResamplerPtr = std::unique_ptr<SwrContext, AvDelete<swr_free>>;

inline QString avErrorText(int error)
{
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(error, text.data(), text.size());
    return QString::fromUtf8(text.data());
}

/// Times inside the engine. Two times that are less than this apart are the same: positions come in ticks of
/// 1/600 s and pictures in those of their track, both rounded.
using Nanoseconds = std::chrono::nanoseconds;
constexpr Nanoseconds sameTime = std::chrono::microseconds(1);
constexpr AVRational nanosecondBase{1, 1'000'000'000};

inline double toSeconds(Nanoseconds time) { return std::chrono::duration<double>(time).count(); }
