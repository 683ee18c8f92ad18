#include "sound/sound.h"

#include "common/mpegaudio.h"
#include "sound/mp3writer.h"
#include "sound/silence.h"
#include "sound/soundstart.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <new>
#include <optional>

namespace {

/// Decoded or passed through: what stands for one stretch until it is clear how much silence comes before it.
struct Pending {
    SilenceJudge::Piece piece{};
    std::vector<FramePtr> frames; ///< none for MPEG audio
};

template <typename Object> Object *existing(Object *object)
{
    if (!object)
        throw std::bad_alloc();
    return object;
}

/// Turns stretches into frames of samples.
class StretchDecoder
{
public:
    explicit StretchDecoder(const SoundFormat &format)
        : m_format(format)
        , m_packet(existing(av_packet_alloc()))
        , m_frame(existing(av_frame_alloc()))
    {
        if (format.kind == SoundKind::Aac)
            m_decoder.reset(existing(openAacDecoder(format.sampleRateHz, format.channelCount).release()));
    }

    /// False where something in the stretch made no sense.
    bool decode(Bytes stretch, std::vector<FramePtr> &frames)
    {
        if (m_format.kind == SoundKind::Pcm16) {
            decodePcm(stretch, frames);
            return true;
        }
        return decodeStretch(m_decoder.get(), m_packet.get(), m_frame.get(), stretch,
                             [&frames](AVFrame *decoded) {
                                 FramePtr copy(existing(av_frame_alloc()));
                                 av_frame_move_ref(copy.get(), decoded);
                                 frames.push_back(std::move(copy));
                             });
    }

private:
    void decodePcm(Bytes stretch, std::vector<FramePtr> &frames)
    {
        stretch = stretch.subspan(std::min(stretch.size(), pcmMisalignment(stretch, m_format.isBigEndian)));
        constexpr std::size_t mostSamples = 1 << 16;
        const std::size_t step = 2 * static_cast<std::size_t>(m_format.channelCount);
        for (std::size_t left = stretch.size() / step; left > 0;) {
            const std::size_t count = std::min(left, mostSamples);
            FramePtr frame(existing(av_frame_alloc()));
            frame->format = AV_SAMPLE_FMT_S16;
            frame->sample_rate = m_format.sampleRateHz;
            av_channel_layout_default(&frame->ch_layout, m_format.channelCount);
            frame->nb_samples = static_cast<int>(count);
            if (av_frame_get_buffer(frame.get(), 0) < 0)
                throw std::bad_alloc();
            auto *samples = reinterpret_cast<std::int16_t *>(frame->data[0]);
            for (std::size_t i = 0; i < count * step; i += 2)
                *samples++ = m_format.isBigEndian
                    ? static_cast<std::int16_t>(stretch[i] << 8 | stretch[i + 1])
                    : static_cast<std::int16_t>(stretch[i + 1] << 8 | stretch[i]);
            stretch = stretch.subspan(count * step);
            frames.push_back(std::move(frame));
            left -= count;
        }
    }

    SoundFormat m_format;
    CodecPtr m_decoder;
    PacketPtr m_packet;
    FramePtr m_frame;
};

/// Where what is ready goes.
class Sink
{
public:
    virtual ~Sink() = default;
    /// Puts silence before what comes next, or if negative, leaves out so many samples of it.
    virtual void shift(std::int64_t samples) = 0;
    virtual void write(const Pending &pending) = 0;
    virtual void finish() = 0;
};

class EncodingSink : public Sink
{
public:
    EncodingSink(OutputFile &target, const SoundFormat &format)
        : m_rate(format.sampleRateHz)
        , m_encoder(target, nearestMp3Rate(format.sampleRateHz), std::min(format.channelCount, 2))
    {
    }
    void shift(std::int64_t samples) override
    {
        if (samples > 0)
            m_encoder.addSilence(av_rescale(samples, nearestMp3Rate(m_rate), m_rate));
        else
            m_surplus -= samples;
    }
    void write(const Pending &pending) override
    {
        for (const FramePtr &frame : pending.frames) {
            const auto dropped = static_cast<int>(std::min<std::int64_t>(m_surplus, frame->nb_samples));
            m_surplus -= dropped;
            dropFront(frame.get(), dropped);
            if (frame->nb_samples > 0)
                m_encoder.add(frame.get());
        }
    }
    void finish() override { m_encoder.finish(); }

private:
    static void dropFront(AVFrame *frame, int samples)
    {
        const auto format = static_cast<AVSampleFormat>(frame->format);
        const bool isPlanar = av_sample_fmt_is_planar(format) != 0;
        const int planes = isPlanar ? frame->ch_layout.nb_channels : 1;
        const int step = av_get_bytes_per_sample(format) * (isPlanar ? 1 : frame->ch_layout.nb_channels);
        for (int plane = 0; plane < planes; ++plane)
            frame->extended_data[plane] += static_cast<std::ptrdiff_t>(samples) * step;
        frame->nb_samples -= samples;
    }

    std::int64_t m_surplus = 0;
    int m_rate;
    Mp3Encoder m_encoder;
};

/// Calls `take` with each MPEG audio frame of a stretch.
template <typename Take> void splitMp3(Bytes stretch, Take take)
{
    for (std::size_t at = 0; at < stretch.size();) {
        const auto header = mpegAudioHeaderAt(stretch.subspan(at));
        if (!header || header->frameSize == 0 || header->frameSize > stretch.size() - at) {
            ++at;
            continue;
        }
        take(stretch.subspan(at, header->frameSize), *header);
        at += header->frameSize;
    }
}

class PassingSink : public Sink
{
public:
    PassingSink(OutputFile &target, Bytes bytes, const SoundFormat &format)
        : m_bytes(bytes)
        , m_packet(existing(av_packet_alloc()))
    {
        AVCodecParameters *parameters = existing(avcodec_parameters_alloc());
        parameters->codec_type = AVMEDIA_TYPE_AUDIO;
        parameters->codec_id = AV_CODEC_ID_MP3;
        parameters->sample_rate = format.sampleRateHz;
        av_channel_layout_default(&parameters->ch_layout, format.channelCount);
        const std::unique_ptr<AVCodecParameters, void (*)(AVCodecParameters *)> owner(
            parameters, [](AVCodecParameters *object) { avcodec_parameters_free(&object); });
        m_muxer = std::make_unique<Mp3Muxer>(target, parameters);
    }
    /// Whole frames of silence: a header like the others', and nothing but zeros behind it.
    void shift(std::int64_t samples) override { m_owedSilence += samples; }
    void write(const Pending &pending) override
    {
        splitMp3(m_bytes.subspan(pending.piece.stretch.offset, pending.piece.stretch.size),
                 [this](Bytes frame, const MpegAudioHeader &header) {
                     if (m_owedSilence <= -header.samplesPerFrame) {
                         m_owedSilence += header.samplesPerFrame;
                         return;
                     }
                     writeSilence(frame, header);
                     put(frame, header.samplesPerFrame);
                 });
    }
    void finish() override { m_muxer->finish(); }

private:
    void writeSilence(Bytes example, const MpegAudioHeader &header)
    {
        if (m_owedSilence < header.samplesPerFrame)
            return;
        std::vector<std::uint8_t> silent(example.begin(), example.begin() + 4);
        silent[1] |= 1; // no checksum
        silent.resize(example.size());
        for (; m_owedSilence >= header.samplesPerFrame; m_owedSilence -= header.samplesPerFrame)
            put(silent, header.samplesPerFrame);
    }
    void put(Bytes frame, int samples)
    {
        m_packet->data = const_cast<std::uint8_t *>(frame.data());
        m_packet->size = static_cast<int>(frame.size());
        m_packet->pts = m_packet->dts = m_position;
        m_packet->duration = samples;
        m_packet->flags = AV_PKT_FLAG_KEY;
        m_muxer->write(m_packet.get());
        m_position += samples;
    }

    Bytes m_bytes;
    std::unique_ptr<Mp3Muxer> m_muxer;
    PacketPtr m_packet;
    std::int64_t m_position = 0;
    std::int64_t m_owedSilence = 0;
};

class SoundWriter
{
public:
    SoundWriter(Bytes bytes, const SoundFormat &format, const ClockLine &clock,
                const std::vector<Span> &losses, Sink &sink)
        : m_bytes(bytes)
        , m_format(format)
        , m_losses(losses)
        , m_judge(clock, format.sampleRateHz)
        , m_sink(sink)
    {
        if (format.kind != SoundKind::Mp3)
            m_decoder = std::make_unique<StretchDecoder>(format);
    }

    SoundResult writeAll(const std::vector<Span> &stretches)
    {
        for (const Span &stretch : stretches) {
            Pending pending = decoded(stretch);
            // What begins as something else is no sound.
            if (pending.piece.isFaulty && m_format.kind == SoundKind::Aac
                && !isSoundStart(m_format.kind, bytesOf(stretch)))
                pending = {{stretch, 0, true}, {}};
            add(std::move(pending));
        }
        flush();
        m_sink.finish();
        return m_result;
    }

private:
    [[nodiscard]] Bytes bytesOf(const Span &span) const { return m_bytes.subspan(span.offset, span.size); }

    Pending decoded(const Span &stretch)
    {
        Pending pending{{stretch, 0, false}, {}};
        if (m_decoder)
            pending.piece.isFaulty = !m_decoder->decode(bytesOf(stretch), pending.frames);
        else
            splitMp3(bytesOf(stretch), [&pending](Bytes, const MpegAudioHeader &header) {
                pending.piece.samples += header.samplesPerFrame;
            });
        for (const FramePtr &frame : pending.frames)
            pending.piece.samples += frame->nb_samples;
        return pending;
    }

    void add(Pending pending)
    {
        // Bytes that merely looked like sound, before there was any.
        if (pending.piece.samples == 0 && m_waiting.empty() && m_result.seconds <= 0)
            return;
        const bool isFaulty = pending.piece.isFaulty;
        const bool isLoss = isLossBetween(m_end, pending.piece.stretch.offset);
        // A window begins with what is faulty: where that ends the clock tells how much it stood for.
        const bool beginsWindow = isLoss || (isFaulty && !m_wasFaulty);
        if (beginsWindow && !m_waiting.empty() && !areAllFaulty())
            flush();
        m_judge.add(pending.piece, isLoss || isFaulty || m_wasFaulty);
        m_wasFaulty = isFaulty;
        m_end = pending.piece.stretch.end();
        m_waiting.push_back(std::move(pending));
        if (m_judge.isReady())
            flush();
    }

    [[nodiscard]] bool areAllFaulty() const
    {
        return std::all_of(m_waiting.begin(), m_waiting.end(),
                           [](const Pending &pending) { return pending.piece.isFaulty; });
    }

    [[nodiscard]] bool isLossBetween(std::uint64_t begin, std::uint64_t end)
    {
        while (m_nextLoss < m_losses.size() && m_losses[m_nextLoss].end() <= begin)
            ++m_nextLoss;
        return m_nextLoss < m_losses.size() && m_losses[m_nextLoss].offset < end;
    }

    void flush()
    {
        const std::int64_t shift = m_judge.close();
        m_result.seconds += double(shift) / m_format.sampleRateHz;
        if (shift > 0)
            m_result.silentSeconds += double(shift) / m_format.sampleRateHz;
        if (shift < 0)
            m_sink.shift(shift);
        bool isShifted = shift <= 0;
        for (const Pending &pending : m_waiting) {
            if (!isShifted && !pending.piece.isFaulty) {
                m_sink.shift(shift);
                isShifted = true;
            }
            m_sink.write(pending);
            m_result.seconds += double(pending.piece.samples) / m_format.sampleRateHz;
        }
        m_waiting.clear();
    }

    Bytes m_bytes;
    SoundFormat m_format;
    const std::vector<Span> &m_losses;
    std::size_t m_nextLoss = 0;
    std::uint64_t m_end = 0; // of the last stretch
    bool m_wasFaulty = false;
    SilenceJudge m_judge;
    Sink &m_sink;
    std::unique_ptr<StretchDecoder> m_decoder;
    std::vector<Pending> m_waiting;
    SoundResult m_result;
};

} // namespace

SoundResult writeSound(OutputFile &target, Bytes bytes, const Sound &sound, const SoundFormat &format,
                       const ClockLine &clock, const std::vector<Span> &losses)
{
    std::unique_ptr<Sink> sink;
    if (format.kind == SoundKind::Mp3)
        sink = std::make_unique<PassingSink>(target, bytes, format);
    else
        sink = std::make_unique<EncodingSink>(target, format);
    return SoundWriter(bytes, format, clock, losses, *sink).writeAll(sound.stretches);
}
