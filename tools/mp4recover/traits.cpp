#include "traits.h"

#include "common/avhandles.h"
#include "decoderconfig.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

extern "C" {
#include <libavutil/motion_vector.h>
#include <libavutil/video_enc_params.h>
}

namespace {

constexpr std::size_t cellCount = PictureTraits::columns * PictureTraits::rows;

std::int8_t narrow(double value)
{
    return static_cast<std::int8_t>(std::clamp(std::lround(value), -127L, 127L));
}

std::size_t cellOf(int x, int y, const AVFrame &frame)
{
    const int column = x * static_cast<int>(PictureTraits::columns) / std::max(1, frame.width);
    const int row = y * static_cast<int>(PictureTraits::rows) / std::max(1, frame.height);
    return static_cast<std::size_t>(std::clamp(row, 0, static_cast<int>(PictureTraits::rows) - 1))
        * PictureTraits::columns
        + static_cast<std::size_t>(std::clamp(column, 0, static_cast<int>(PictureTraits::columns) - 1));
}

void readMotion(const AVFrame &frame, PictureTraits &traits)
{
    const AVFrameSideData *data = av_frame_get_side_data(&frame, AV_FRAME_DATA_MOTION_VECTORS);
    if (data == nullptr)
        return;
    std::array<std::array<double, 3>, cellCount> sums{};
    const auto *vectors = reinterpret_cast<const AVMotionVector *>(data->data);
    for (std::size_t i = 0; i < data->size / sizeof *vectors; ++i) {
        const AVMotionVector &vector = vectors[i];
        const double area = static_cast<double>(vector.w) * vector.h;
        const double scale = std::max<double>(1, vector.motion_scale) / 4;
        auto &sum = sums[cellOf(vector.dst_x, vector.dst_y, frame)];
        sum[0] += area * vector.motion_x / scale;
        sum[1] += area * vector.motion_y / scale;
        sum[2] += area;
    }
    for (std::size_t i = 0; i < cellCount; ++i) {
        if (sums[i][2] == 0)
            continue;
        traits.values[i * PictureTraits::perCell] = narrow(sums[i][0] / sums[i][2]);
        traits.values[i * PictureTraits::perCell + 1] = narrow(sums[i][1] / sums[i][2]);
    }
}

void readQuantisers(const AVFrame &frame, PictureTraits &traits)
{
    const AVFrameSideData *data = av_frame_get_side_data(&frame, AV_FRAME_DATA_VIDEO_ENC_PARAMS);
    if (data == nullptr)
        return;
    auto *parameters = reinterpret_cast<AVVideoEncParams *>(data->data);
    std::array<std::array<double, 2>, cellCount> sums{};
    for (unsigned i = 0; i < parameters->nb_blocks; ++i) {
        const AVVideoBlockParams &block = *av_video_enc_params_block(parameters, i);
        auto &sum = sums[cellOf(block.src_x, block.src_y, frame)];
        sum[0] += parameters->qp + block.delta_qp;
        sum[1] += 1;
    }
    for (std::size_t i = 0; i < cellCount; ++i) {
        if (sums[i][1] > 0)
            traits.values[i * PictureTraits::perCell + 2] = narrow(4 * sums[i][0] / sums[i][1]);
    }
}

/// A decoder that goes on whatever happens; pictures come with the number of their access unit.
class TolerantDecoder
{
public:
    explicit TolerantDecoder(const std::vector<ParameterSet> &sets)
        : m_packet(av_packet_alloc())
        , m_frame(av_frame_alloc())
    {
        const AVCodec *decoder = avcodec_find_decoder(AV_CODEC_ID_H264);
        m_codec.reset(decoder ? avcodec_alloc_context3(decoder) : nullptr);
        if (!m_codec || !m_packet || !m_frame)
            return;
        const std::vector<std::uint8_t> configuration = decoderConfiguration(VideoCodec::H264, sets);
        m_codec->extradata =
            static_cast<std::uint8_t *>(av_mallocz(configuration.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        if (m_codec->extradata) {
            std::copy(configuration.begin(), configuration.end(), m_codec->extradata);
            m_codec->extradata_size = static_cast<int>(configuration.size());
        }
        m_codec->thread_count = 1;
        m_codec->skip_loop_filter = AVDISCARD_ALL;
        m_codec->flags |= AV_CODEC_FLAG_OUTPUT_CORRUPT;
        m_codec->flags2 |= AV_CODEC_FLAG2_SHOW_ALL;
        m_codec->export_side_data = AV_CODEC_EXPORT_DATA_MVS | AV_CODEC_EXPORT_DATA_VIDEO_ENC_PARAMS;
        if (avcodec_open2(m_codec.get(), decoder, nullptr) < 0)
            m_codec.reset();
    }
    [[nodiscard]] bool isOpen() const { return m_codec != nullptr; }

    /// Calls take(number, frame) for each picture that comes out. False if the data can't be decoded.
    template <typename Take> bool decode(std::vector<std::uint8_t> &sample, std::size_t number, Take take)
    {
        m_packet->data = sample.data();
        m_packet->size = static_cast<int>(sample.size() - AV_INPUT_BUFFER_PADDING_SIZE);
        m_packet->pts = static_cast<std::int64_t>(number);
        const int code = avcodec_send_packet(m_codec.get(), m_packet.get());
        receive(take);
        return code >= 0;
    }
    template <typename Take> void finish(Take take)
    {
        avcodec_send_packet(m_codec.get(), nullptr);
        receive(take);
    }

private:
    template <typename Take> void receive(Take take)
    {
        while (avcodec_receive_frame(m_codec.get(), m_frame.get()) >= 0) {
            if (m_frame->pts >= 0)
                take(static_cast<std::size_t>(m_frame->pts), *m_frame);
            av_frame_unref(m_frame.get());
        }
    }

    CodecPtr m_codec;
    PacketPtr m_packet;
    FramePtr m_frame;
};

bool isFaulty(const AVFrame &frame)
{
    return (frame.decode_error_flags & (FF_DECODE_ERROR_INVALID_BITSTREAM | FF_DECODE_ERROR_DECODE_SLICES))
        != 0;
}

} // namespace

std::vector<std::uint8_t> slicesOf(Bytes bytes, const AccessUnits &found, const AccessUnit &picture)
{
    std::vector<std::uint8_t> sample;
    for (std::uint32_t i = picture.firstUnit; i < picture.firstUnit + picture.unitCount; ++i) {
        const FoundUnit &unit = found.units[i];
        if (unit.kind != UnitKind::Slice)
            continue;
        const Bytes own = bytes.subspan(unit.offset, unit.size + 4);
        sample.insert(sample.end(), own.begin(), own.end());
    }
    sample.resize(sample.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    return sample;
}

double distance(const PictureTraits &a, const PictureTraits &b)
{
    constexpr int most = 24;
    int sum = 0;
    for (std::size_t i = 0; i < a.values.size(); ++i)
        sum += std::min(most, std::abs(a.values[i] - b.values[i]));
    return sum;
}

std::vector<PictureTraits> traitsOf(Bytes bytes, const AccessUnits &found,
                                    const std::vector<std::uint8_t> &channels,
                                    const std::vector<bool> &wanted,
                                    const std::vector<std::vector<ParameterSet>> &sets)
{
    std::vector<PictureTraits> traits(found.pictures.size());
    for (std::uint8_t channel = 0; channel < sets.size(); ++channel) {
        if (sets[channel].empty())
            return {};
        TolerantDecoder decoder(sets[channel]);
        if (!decoder.isOpen())
            return {};
        const auto misfit = static_cast<std::uint8_t>(1U << channel);
        const auto take = [&](std::size_t index, const AVFrame &frame) {
            if (index >= traits.size() || isFaulty(frame)) {
                if (index < traits.size())
                    traits[index].misfits |= misfit;
                return;
            }
            if (channels[index] != channel && traits[index].isKnown)
                return;
            traits[index].values.fill(0);
            readMotion(frame, traits[index]);
            readQuantisers(frame, traits[index]);
            traits[index].isKnown = true;
        };
        for (std::size_t i = 0; i < found.pictures.size(); ++i) {
            const bool isOwn = channels[i] == channel;
            const bool isOther = channels[i] < sets.size() && !isOwn && sets[channels[i]] != sets[channel];
            if (!wanted[i] || (!isOwn && !isOther))
                continue;
            std::vector<std::uint8_t> sample = slicesOf(bytes, found, found.pictures[i]);
            if (!decoder.decode(sample, i, take))
                traits[i].misfits |= misfit;
        }
        decoder.finish(take);
    }
    return traits;
}
