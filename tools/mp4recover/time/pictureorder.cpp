#include "time/pictureorder.h"

#include "common/avhandles.h"
#include "reading/unitheader.h"

#include <algorithm>
#include <numeric>
#include <optional>

namespace {

/// libavcodec's parser, which counts the pictures' order from their slice headers.
class OrderParser
{
public:
    OrderParser(VideoCodec codec, const std::vector<std::uint8_t> &configuration)
        : m_codec(codec)
        , m_parser(av_parser_init(codec == VideoCodec::H264 ? AV_CODEC_ID_H264 : AV_CODEC_ID_HEVC))
        , m_context(avcodec_alloc_context3(nullptr))
    {
        if (!isUsable())
            return;
        m_context->extradata =
            static_cast<std::uint8_t *>(av_mallocz(configuration.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        if (m_context->extradata) {
            std::copy(configuration.begin(), configuration.end(), m_context->extradata);
            m_context->extradata_size = static_cast<int>(configuration.size());
        }
        m_parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    }
    ~OrderParser() { av_parser_close(m_parser); }
    OrderParser(const OrderParser &) = delete;
    OrderParser &operator=(const OrderParser &) = delete;

    [[nodiscard]] bool isUsable() const { return m_parser && m_context; }

    /// By the picture's first slice; none where it has none.
    std::optional<int> orderOf(Bytes bytes, const std::vector<Unit> &units, const Picture &picture)
    {
        constexpr std::uint32_t headSize = 96;
        for (std::uint32_t i = picture.firstUnit; i < picture.firstUnit + picture.unitCount; ++i) {
            const std::uint32_t size = std::min(units[i].size, headSize);
            if (size < 3 || kindOf(m_codec, bytes.data() + units[i].offset) != UnitKind::Slice)
                continue;
            m_head.assign({0, 0, 0, static_cast<std::uint8_t>(size)});
            const Bytes head = bytes.subspan(units[i].offset, size);
            m_head.insert(m_head.end(), head.begin(), head.end());
            m_head.resize(m_head.size() + AV_INPUT_BUFFER_PADDING_SIZE);
            std::uint8_t *out = nullptr;
            int outSize = 0;
            av_parser_parse2(m_parser, m_context.get(), &out, &outSize, m_head.data(),
                             static_cast<int>(size + 4), AV_NOPTS_VALUE, AV_NOPTS_VALUE, -1);
            return m_parser->output_picture_number;
        }
        return {};
    }

private:
    VideoCodec m_codec;
    AVCodecParserContext *m_parser;
    CodecPtr m_context;
    std::vector<std::uint8_t> m_head;
};

/// Ranks of the pictures from `first` on by their orders; where two orders are equal nothing is known.
bool rank(const std::vector<int> &orders, std::uint32_t first, std::vector<std::uint32_t> &ranks)
{
    std::vector<std::uint32_t> sorted(orders.size());
    std::iota(sorted.begin(), sorted.end(), 0U);
    std::stable_sort(sorted.begin(), sorted.end(),
                     [&orders](std::uint32_t a, std::uint32_t b) { return orders[a] < orders[b]; });
    bool isMoved = false;
    for (std::uint32_t i = 0; i < sorted.size(); ++i) {
        ranks[first + sorted[i]] = first + i;
        isMoved = isMoved || sorted[i] != i;
    }
    return isMoved;
}

/// No camera reorders so far: where a picture would be shown before that many that are decoded shortly before
/// it, a key picture is lost between.
bool isOfLaterSequence(const std::vector<int> &orders, int order)
{
    constexpr std::ptrdiff_t farthest = 4;
    constexpr std::size_t window = 16;
    const auto first = orders.end() - static_cast<std::ptrdiff_t>(std::min(window, orders.size()));
    return std::count_if(first, orders.end(), [order](int earlier) { return earlier >= order; }) > farthest;
}

} // namespace

std::vector<std::uint32_t> displayOrder(Bytes bytes, const std::vector<Unit> &units, const Channel &channel,
                                        const std::vector<std::uint8_t> &configuration)
{
    std::vector<std::uint32_t> ranks(channel.pictures.size());
    std::iota(ranks.begin(), ranks.end(), 0U);
    OrderParser parser(channel.codec, configuration);
    if (!parser.isUsable())
        return {};
    bool isMoved = false;
    std::vector<int> orders;
    std::uint32_t first = 0;
    for (std::uint32_t i = 0; i < channel.pictures.size(); ++i) {
        const Picture &picture = channel.pictures[i];
        const std::optional<int> order = parser.orderOf(bytes, units, picture);
        const bool isBroken = picture.followsLoss && order && isOfLaterSequence(orders, *order);
        if (picture.restartsNumbers || isBroken) {
            isMoved = rank(orders, first, ranks) || isMoved;
            orders.clear();
            first = i;
        }
        orders.push_back(order.value_or(orders.empty() ? 0 : orders.back()));
    }
    isMoved = rank(orders, first, ranks) || isMoved;
    return isMoved ? ranks : std::vector<std::uint32_t>{};
}
