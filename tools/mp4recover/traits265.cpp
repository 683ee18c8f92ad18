#include "traits265.h"

#include "common/avhandles.h"
#include "decoderconfig.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr int columns = PictureTraits::columns;
constexpr int rows = PictureTraits::rows;
constexpr int grey = 128;
constexpr std::int64_t mostSamples = 4'000'000'000; // decoding 2000 pictures of 1920x1080 takes about 20 s

std::int8_t narrow(double value)
{
    return static_cast<std::int8_t>(std::clamp(std::lround(value), -127L, 127L));
}

/// How far a part of a plane is off grey: on the average, and regardless of the sign.
struct Deviation {
    double mean = 0;
    double strength = 0;
};

Deviation deviationOf(const AVFrame &frame, int plane, int column, int row)
{
    const int shift = plane == 0 ? 0 : 1;
    const int width = frame.width >> shift;
    const int height = frame.height >> shift;
    const int left = column * width / columns;
    const int right = (column + 1) * width / columns;
    long sum = 0;
    long strength = 0;
    long count = 0;
    for (int y = row * height / rows; y < (row + 1) * height / rows; ++y) {
        const std::uint8_t *line = frame.data[plane] + std::ptrdiff_t{y} * frame.linesize[plane];
        for (int x = left; x < right; ++x) {
            const int off = line[x] - grey;
            sum += off;
            strength += std::abs(off);
            ++count;
        }
    }
    const auto samples = static_cast<double>(std::max(1L, count));
    return {static_cast<double>(sum) / samples, static_cast<double>(strength) / samples};
}

void readPicture(const AVFrame &frame, bool isKey, PictureTraits &traits)
{
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            const Deviation luma = deviationOf(frame, 0, column, row);
            const Deviation blue = deviationOf(frame, 1, column, row);
            const Deviation red = deviationOf(frame, 2, column, row);
            std::int8_t *cell =
                &traits.values[static_cast<std::size_t>(row * columns + column) * PictureTraits::perCell];
            if (isKey) {
                cell[0] = narrow(luma.mean);
                cell[1] = narrow(blue.mean);
                cell[2] = narrow(red.mean);
            } else {
                cell[0] = narrow(8 * std::log2(1 + 16 * luma.strength));
                cell[1] = narrow(2 * luma.mean);
                cell[2] = narrow(8 * std::log2(1 + 16 * (blue.strength + red.strength)));
            }
        }
    }
}

/// A decoder that takes each picture as the first one.
class LonePictureDecoder
{
public:
    explicit LonePictureDecoder(const std::vector<ParameterSet> &sets)
        : m_packet(av_packet_alloc())
        , m_frame(av_frame_alloc())
    {
        const AVCodec *decoder = avcodec_find_decoder(AV_CODEC_ID_HEVC);
        m_codec.reset(decoder ? avcodec_alloc_context3(decoder) : nullptr);
        if (!m_codec || !m_packet || !m_frame)
            return;
        const std::vector<std::uint8_t> configuration = decoderConfiguration(VideoCodec::H265, sets);
        m_codec->extradata =
            static_cast<std::uint8_t *>(av_mallocz(configuration.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        if (m_codec->extradata) {
            std::copy(configuration.begin(), configuration.end(), m_codec->extradata);
            m_codec->extradata_size = static_cast<int>(configuration.size());
        }
        m_codec->thread_count = 1;
        m_codec->skip_loop_filter = AVDISCARD_ALL;
        m_codec->flags |= AV_CODEC_FLAG_OUTPUT_CORRUPT;
        if (avcodec_open2(m_codec.get(), decoder, nullptr) < 0)
            m_codec.reset();
    }
    [[nodiscard]] bool isOpen() const { return m_codec != nullptr; }

    /// The decoded picture, valid until the next call; none if there is nothing to be seen.
    [[nodiscard]] const AVFrame *decode(std::vector<std::uint8_t> &sample)
    {
        av_frame_unref(m_frame.get());
        avcodec_flush_buffers(m_codec.get());
        m_packet->data = sample.data();
        m_packet->size = static_cast<int>(sample.size() - AV_INPUT_BUFFER_PADDING_SIZE);
        if (avcodec_send_packet(m_codec.get(), m_packet.get()) < 0)
            return nullptr;
        int code = avcodec_receive_frame(m_codec.get(), m_frame.get());
        if (code < 0) {
            avcodec_send_packet(m_codec.get(), nullptr);
            code = avcodec_receive_frame(m_codec.get(), m_frame.get());
        }
        const bool isPicture = code >= 0
            && (m_frame->format == AV_PIX_FMT_YUV420P || m_frame->format == AV_PIX_FMT_YUVJ420P)
            && m_frame->data[0] && m_frame->data[1] && m_frame->data[2];
        return isPicture ? m_frame.get() : nullptr;
    }

private:
    CodecPtr m_codec;
    PacketPtr m_packet;
    FramePtr m_frame;
};

} // namespace

std::vector<PictureTraits> traitsOfH265(Bytes bytes, const AccessUnits &found,
                                        const std::vector<std::uint8_t> &channels,
                                        const std::vector<bool> &wanted,
                                        const std::vector<std::vector<ParameterSet>> &sets)
{
    std::vector<PictureTraits> traits(found.pictures.size());
    for (std::size_t channel = 0; channel < sets.size(); ++channel) {
        if (sets[channel].empty())
            return {};
        LonePictureDecoder decoder(sets[channel]);
        if (!decoder.isOpen())
            return {};
        const auto misfit = static_cast<std::uint8_t>(1U << channel);
        std::int64_t samplesLeft = mostSamples / static_cast<std::int64_t>(sets.size());
        for (std::size_t i = 0; i < found.pictures.size() && samplesLeft > 0; ++i) {
            const bool isOwn = channels[i] == channel;
            const bool isOther = channels[i] < sets.size() && !isOwn && sets[channels[i]] != sets[channel];
            if (!wanted[i] || (!isOwn && !isOther))
                continue;
            std::vector<std::uint8_t> sample = slicesOf(bytes, found, found.pictures[i]);
            const AVFrame *frame = decoder.decode(sample);
            samplesLeft -=
                frame ? std::int64_t{frame->width} * frame->height : static_cast<std::int64_t>(sample.size());
            if (frame == nullptr) {
                traits[i].misfits |= misfit;
                continue;
            }
            if (!isOwn && traits[i].isKnown)
                continue;
            readPicture(*frame, found.pictures[i].slice.isSync, traits[i]);
            traits[i].isKnown = true;
        }
    }
    return traits;
}
