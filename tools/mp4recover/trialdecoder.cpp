#include "trialdecoder.h"

#include "decoderconfig.h"

#include <algorithm>
#include <mutex>

namespace {

/// The library's messages come by one function for the whole process, on the thread that decodes.
thread_local int messageCount = 0;

void countMessage(void *, int level, const char *, va_list)
{
    if (level <= AV_LOG_WARNING)
        ++messageCount;
}

void listen()
{
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_callback(countMessage); });
}

} // namespace

TrialDecoder::TrialDecoder(VideoCodec codec, const std::vector<ParameterSet> &sets)
    : m_frame(av_frame_alloc())
    , m_received(av_frame_alloc())
    , m_packet(av_packet_alloc())
{
    listen();
    const AVCodec *decoder =
        avcodec_find_decoder(codec == VideoCodec::H264 ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC);
    m_codec.reset(decoder ? avcodec_alloc_context3(decoder) : nullptr);
    if (!m_codec || !m_frame || !m_received || !m_packet)
        return;
    const std::vector<std::uint8_t> configuration = decoderConfiguration(codec, sets);
    m_codec->extradata =
        static_cast<std::uint8_t *>(av_mallocz(configuration.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (m_codec->extradata) {
        std::copy(configuration.begin(), configuration.end(), m_codec->extradata);
        m_codec->extradata_size = static_cast<int>(configuration.size());
    }
    m_codec->thread_count = 1; // so that its messages come on this thread
    m_codec->err_recognition = AV_EF_EXPLODE;
    messageCount = 0;
    if (avcodec_open2(m_codec.get(), decoder, nullptr) < 0 || messageCount > 0)
        m_codec.reset();
}

bool TrialDecoder::send(const AVPacket *packet)
{
    if (!m_codec)
        return false;
    messageCount = 0;
    bool isGood = avcodec_send_packet(m_codec.get(), packet) >= 0;
    while (isGood) {
        const int code = avcodec_receive_frame(m_codec.get(), m_received.get());
        if (code == AVERROR(EAGAIN) || code == AVERROR_EOF)
            break;
        isGood = code >= 0 && m_received->decode_error_flags == 0;
        if (isGood) {
            ++m_pictures;
            av_frame_unref(m_frame.get());
            av_frame_move_ref(m_frame.get(), m_received.get());
        }
    }
    return isGood && messageCount == 0;
}

bool TrialDecoder::decode(const Sample &sample)
{
    if (!m_packet)
        return false;
    m_packet->data = const_cast<std::uint8_t *>(sample.data());
    m_packet->size = static_cast<int>(sample.size());
    return send(m_packet.get());
}

bool TrialDecoder::finish() { return send(nullptr); }

LumaView TrialDecoder::picture() const
{
    if (m_pictures == 0 || !m_frame->data[0] || m_frame->linesize[0] <= 0)
        return {};
    return {m_frame->data[0], static_cast<std::size_t>(m_frame->linesize[0]), m_frame->width,
            m_frame->height};
}

TrialResult tryDecoding(VideoCodec codec, const std::vector<ParameterSet> &sets,
                        const std::vector<Sample> &samples)
{
    TrialDecoder decoder(codec, sets);
    const bool isDecoded = std::all_of(samples.begin(), samples.end(),
                                       [&decoder](const Sample &sample) { return decoder.decode(sample); });
    const bool isClean = isDecoded && decoder.finish();
    return {decoder.pictures(), isClean};
}

Sample sampleOf(Bytes bytes, const std::vector<Unit> &units, VideoCodec codec, const Picture &picture)
{
    Sample sample;
    for (std::uint32_t i = picture.firstUnit; i < picture.firstUnit + picture.unitCount; ++i) {
        const Unit &unit = units[i];
        const bool isSet =
            codec == VideoCodec::H264 ? unit.type == 7 || unit.type == 8 : unit.type >= 32 && unit.type <= 34;
        if (isSet)
            continue;
        for (const unsigned shift : {24U, 16U, 8U, 0U})
            sample.push_back(static_cast<std::uint8_t>(unit.size >> shift));
        const Bytes own = bytes.subspan(unit.offset, unit.size);
        sample.insert(sample.end(), own.begin(), own.end());
    }
    return sample;
}
