#include "sets/sliceguess.h"

#include "reading/bitreader.h"

#include <algorithm>
#include <array>
#include <optional>

namespace {

constexpr std::size_t headerBytes = 48;
constexpr int narrowest = 4;
constexpr int widest = 16;

struct Header {
    bool isIdr = false;
    bool isReference = false;
    bool isB = false;
    std::optional<BitReader> behindId; ///< at frame_num
};

std::vector<Header> readHeaders(Bytes bytes, const std::vector<Unit> &units, const Channel &channel,
                                std::size_t first, std::size_t count)
{
    std::vector<Header> headers;
    for (std::size_t i = first; i < first + count; ++i) {
        const Picture &picture = channel.pictures[i];
        for (std::uint32_t j = picture.firstUnit; j < picture.firstUnit + picture.unitCount; ++j) {
            const Unit &unit = units[j];
            if ((unit.type != 1 && unit.type != 5) || unit.size < 2)
                continue;
            BitReader reader(
                bytes.subspan(unit.offset + 1, std::min<std::size_t>(unit.size - 1, headerBytes)));
            reader.unsignedGolomb();
            const std::uint32_t type = reader.unsignedGolomb() % 5;
            reader.unsignedGolomb();
            headers.push_back({unit.type == 5, (bytes[unit.offset] & 0x60U) != 0, type == 1, reader});
            break;
        }
    }
    return headers;
}

/// Share of the pictures whose number follows from the one before.
double frameNumberFit(const std::vector<Header> &headers, int width)
{
    const std::uint32_t mask = (1U << width) - 1;
    std::uint32_t expected = 0;
    std::size_t fitting = 0;
    for (std::size_t i = 0; i < headers.size(); ++i) {
        BitReader reader = *headers[i].behindId;
        const std::uint32_t number = reader.bits(static_cast<unsigned>(width));
        if (headers[i].isIdr || i == 0)
            expected = headers[i].isIdr ? 0 : number;
        fitting += number == expected ? 1 : 0;
        expected = headers[i].isReference ? (number + 1) & mask : number;
    }
    return headers.empty() ? 0 : double(fitting) / double(headers.size());
}

/// How the low bits of the order would run if they had this width: share of pictures that are a small even
/// step, or a step of one, from the one before.
struct OrderFit {
    double evenSteps = 0;
    double singleSteps = 0;
    int reorderPictures = 0;
};

/// How many of the pictures are shown after the last one, though they come before it.
int countShownLater(const std::vector<std::int32_t> &orders)
{
    const auto later = [&orders](std::int32_t order) { return order > orders.back(); };
    return static_cast<int>(std::count_if(orders.begin(), orders.end(), later));
}

OrderFit orderFit(const std::vector<Header> &headers, int frameNumberWidth, int width)
{
    const std::int32_t range = 1 << width;
    constexpr std::int32_t longestStep = 16;
    std::int32_t before = 0;
    std::size_t even = 0;
    std::size_t odd = 0;
    std::size_t counted = 0;
    std::vector<std::int32_t> orders; // since the last IDR, over the wraps
    int reordered = 0;
    for (std::size_t i = 0; i < headers.size(); ++i) {
        BitReader reader = *headers[i].behindId;
        reader.skip(static_cast<unsigned>(frameNumberWidth));
        if (headers[i].isIdr)
            reader.unsignedGolomb();
        const auto lsb = static_cast<std::int32_t>(reader.bits(static_cast<unsigned>(width)));
        std::int32_t step = lsb - before;
        if (step > range / 2)
            step -= range;
        if (step < -range / 2)
            step += range;
        before = lsb;
        if (headers[i].isIdr)
            orders.clear();
        orders.push_back(orders.empty() ? lsb : orders.back() + step);
        reordered = std::max(reordered, countShownLater(orders));
        if (i == 0)
            continue;
        ++counted;
        if (headers[i].isIdr) {
            even += lsb == 0 ? 1 : 0;
            odd += lsb == 0 ? 1 : 0;
            continue;
        }
        const bool isShort = step != 0 && step >= -longestStep && step <= longestStep;
        even += isShort && step % 2 == 0 ? 1 : 0;
        odd += isShort && (step == 1 || headers[i].isB) ? 1 : 0;
    }
    const auto all = double(std::max<std::size_t>(counted, 1));
    constexpr int mostReordered = 16;
    return {double(even) / all, double(odd) / all, std::min(reordered, mostReordered)};
}

} // namespace

HeaderGuess guessHeaders(Bytes bytes, const std::vector<Unit> &units, const Channel &channel,
                         std::size_t first, std::size_t count)
{
    const std::vector<Header> headers = readHeaders(bytes, units, channel, first, count);
    HeaderGuess guess;
    guess.hasB = std::any_of(headers.begin(), headers.end(), [](const Header &header) { return header.isB; });
    double best = 0;
    for (int width = narrowest; width <= widest; ++width) {
        const double fit = frameNumberFit(headers, width);
        constexpr double clearly = 0.01;
        if (fit > best + clearly) {
            best = fit;
            guess.log2MaxFrameNum = width;
        }
    }
    // A width of one bit too many doubles the steps, one too few halves them: the encoders' usual step is
    // two.
    constexpr double likely = 0.85;
    std::vector<OrderGuess> single;
    for (int width = narrowest; width <= widest; ++width) {
        const OrderFit fit = orderFit(headers, guess.log2MaxFrameNum, width);
        if (fit.evenSteps >= likely)
            guess.orders.push_back({0, width, fit.reorderPictures});
        else if (fit.singleSteps >= likely)
            single.push_back({0, width, fit.reorderPictures});
    }
    if (!guess.hasB)
        guess.orders.push_back({2, narrowest});
    guess.orders.insert(guess.orders.end(), single.begin(), single.end());
    if (guess.orders.empty())
        guess.orders.push_back({0, narrowest});
    return guess;
}
