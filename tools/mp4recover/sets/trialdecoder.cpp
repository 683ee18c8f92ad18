#include "sets/trialdecoder.h"

#include "sets/decoderconfig.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <mutex>
#include <string_view>

namespace {

/// What the library said since this was last reset. Its messages come by one function for the whole process,
/// on the thread that decodes.
struct Messages {
    int count = 0;
    int faults = 0; ///< of these, all but those about pictures that aren't there
    int column = 0; ///< of the macroblock that the first fault is about
    int row = 0;
};
thread_local Messages messages;

bool isAboutReferences(std::string_view format)
{
    return std::ranges::any_of(
        std::array{"Missing reference", "reference picture missing", "rame num gap", "mmco: unref short",
                   "co located POCs unavailable", "Could not find ref"},
        [format](const char *part) { return format.find(part) != std::string_view::npos; });
}

void hear(void *, int level, const char *format, va_list arguments)
{
    // What a picture lacks is made up without a warning.
    if (level > AV_LOG_WARNING && !std::string_view(format).starts_with("concealing"))
        return;
    ++messages.count;
    if (isAboutReferences(format) || messages.faults++ > 0)
        return;
    std::array<char, 128> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    std::sscanf(text.data(), "error while decoding MB %d %d", &messages.column, &messages.row);
}

void listen()
{
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_callback(hear); });
}

} // namespace

TrialDecoder::TrialDecoder(VideoCodec codec, const std::vector<ParameterSet> &sets, Stop stop)
    : m_stop(stop)
    , m_current(av_frame_alloc())
    , m_previous(av_frame_alloc())
    , m_frame(av_frame_alloc())
    , m_received(av_frame_alloc())
    , m_packet(av_packet_alloc())
{
    listen();
    const AVCodec *decoder =
        avcodec_find_decoder(codec == VideoCodec::H264 ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC);
    m_codec.reset(decoder ? avcodec_alloc_context3(decoder) : nullptr);
    if (!m_codec || !m_frame || !m_received || !m_packet || !m_current || !m_previous)
        return;
    const std::vector<std::uint8_t> configuration = decoderConfiguration(codec, sets);
    m_codec->extradata =
        static_cast<std::uint8_t *>(av_mallocz(configuration.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (m_codec->extradata) {
        std::copy(configuration.begin(), configuration.end(), m_codec->extradata);
        m_codec->extradata_size = static_cast<int>(configuration.size());
    }
    m_codec->opaque = this;
    m_codec->get_buffer2 = takeBuffer;
    m_codec->thread_type = 0;
    m_codec->thread_count = 1; // so that its messages come on this thread
    if (stop == Stop::AtFirstMessage) {
        m_codec->err_recognition = AV_EF_EXPLODE;
    } else {
        m_codec->flags |= AV_CODEC_FLAG_OUTPUT_CORRUPT;
        m_codec->flags2 |= AV_CODEC_FLAG2_SHOW_ALL;
    }
    messages = {};
    if (avcodec_open2(m_codec.get(), decoder, nullptr) < 0 || messages.count > 0)
        m_codec.reset();
}

bool TrialDecoder::send(const AVPacket *packet)
{
    if (!m_codec)
        return false;
    messages = {};
    const bool isStrict = m_stop == Stop::AtFirstMessage;
    bool isGood = avcodec_send_packet(m_codec.get(), packet) >= 0;
    while (isGood || !isStrict) {
        const int code = avcodec_receive_frame(m_codec.get(), m_received.get());
        if (code == AVERROR(EAGAIN) || code == AVERROR_EOF || (code < 0 && !isStrict))
            break;
        isGood = code >= 0 && (m_received->decode_error_flags == 0 || !isStrict);
        if (isGood) {
            ++m_pictures;
            av_frame_unref(m_frame.get());
            av_frame_move_ref(m_frame.get(), m_received.get());
        }
    }
    return isStrict ? isGood && messages.count == 0 : messages.faults == 0;
}

bool TrialDecoder::decode(const Sample &sample)
{
    if (!m_packet)
        return false;
    m_hasCurrent = false;
    m_packet->data = const_cast<std::uint8_t *>(sample.data());
    m_packet->size = static_cast<int>(sample.size());
    return send(m_packet.get());
}

bool TrialDecoder::finish() { return send(nullptr); }

int TrialDecoder::macroblocksBeforeMessage() const
{
    constexpr int macroblock = 16;
    return m_codec ? messages.row * ((m_codec->width + macroblock - 1) / macroblock) + messages.column : 0;
}

/// Pictures that stand in for lost references are taken, too: by the decoder of H.264 before the picture
/// itself, by that of H.265 behind it.
int TrialDecoder::takeBuffer(AVCodecContext *codec, AVFrame *frame, int flags)
{
    const int code = avcodec_default_get_buffer2(codec, frame, flags);
    auto *self = static_cast<TrialDecoder *>(codec->opaque);
    if (code < 0 || (self->m_hasCurrent && codec->codec_id == AV_CODEC_ID_HEVC))
        return code;
    if (!self->m_hasCurrent)
        self->m_previous.swap(self->m_current);
    self->m_hasCurrent = true;
    av_frame_unref(self->m_current.get());
    return av_frame_ref(self->m_current.get(), frame);
}

LumaView TrialDecoder::picture() const { return m_pictures == 0 ? LumaView{} : viewOf(m_frame.get()); }

LumaView TrialDecoder::viewOf(const AVFrame *frame)
{
    if (!frame->data[0] || frame->linesize[0] <= 0)
        return {};
    return {frame->data[0], static_cast<std::size_t>(frame->linesize[0]), frame->width, frame->height};
}

TrialResult tryDecoding(VideoCodec codec, const std::vector<ParameterSet> &sets,
                        const std::vector<Sample> &samples)
{
    TrialDecoder decoder(codec, sets);
    const bool isDecoded = std::all_of(samples.begin(), samples.end(),
                                       [&decoder](const Sample &sample) { return decoder.decode(sample); });
    const int macroblocks = isDecoded ? 0 : decoder.macroblocksBeforeMessage();
    const bool isClean = isDecoded && decoder.finish();
    return {decoder.pictures(), macroblocks, isClean};
}

std::size_t countDecodable(VideoCodec codec, const std::vector<ParameterSet> &sets,
                           const std::vector<Sample> &samples, std::size_t mostFaults)
{
    TrialDecoder decoder(codec, sets, TrialDecoder::Stop::Never);
    std::size_t faults = 0;
    std::size_t good = 0;
    for (std::size_t i = 0; i < samples.size() && faults <= mostFaults; ++i)
        ++(decoder.decode(samples[i]) ? good : faults);
    return good;
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
