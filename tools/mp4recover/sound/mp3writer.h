#pragma once

#include "common/avhandles.h"

#include <cstdint>
#include <span>

class OutputFile;
struct AVAudioFifo;

/// An MP3 file of coded packets, with a header that tells its length. All throw Failure.
class Mp3Muxer
{
public:
    Mp3Muxer(OutputFile &target, const AVCodecParameters *parameters);
    /// `packet` in units of 1 / sampleRate.
    void write(AVPacket *packet);
    void finish();

private:
    MuxerPtr m_muxer;
    AVRational m_timeBase;
};

/// Codes decoded sound as MP3 of 128 kbit/s.
class Mp3Encoder
{
public:
    /// `channels` 1 or 2; `sampleRateHz` one that MP3 knows.
    Mp3Encoder(OutputFile &target, int sampleRateHz, int channels);
    ~Mp3Encoder();
    Mp3Encoder(const Mp3Encoder &) = delete;
    Mp3Encoder &operator=(const Mp3Encoder &) = delete;

    /// Any format, rate and channel layout; resampled where they differ.
    void add(const AVFrame *frame);
    void addSilence(std::int64_t samples);
    void finish();

private:
    void convert(const AVFrame *frame);
    void encodeWhole(bool isLast);
    void encode(const AVFrame *frame);

    CodecPtr m_coder;
    std::unique_ptr<Mp3Muxer> m_muxer;
    ResamplerPtr m_resampler;
    FramePtr m_converted;
    AVAudioFifo *m_waiting = nullptr;
    std::int64_t m_position = 0; // samples handed to the coder
};

/// The rate that MP3 knows and that is nearest to this one.
[[nodiscard]] int nearestMp3Rate(int sampleRateHz);
