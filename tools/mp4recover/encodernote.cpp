#include "encodernote.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace {

constexpr std::size_t picturesLookedAt = 64;
constexpr std::uint32_t longestMessage = 4096;

/// The whole number behind " KEY=", cut off at its decimal point.
std::optional<int> numberOf(std::string_view settings, std::string_view key)
{
    for (std::size_t at = settings.find(key); at != std::string_view::npos; at = settings.find(key, at + 1)) {
        const std::size_t begin = at + key.size() + 1;
        if (at == 0 || settings[at - 1] != ' ' || begin >= settings.size() || settings[begin - 1] != '=')
            continue;
        int value = 0;
        const auto [end, error] =
            std::from_chars(settings.data() + begin, settings.data() + settings.size(), value);
        if (error == std::errc() && end != settings.data() + begin)
            return value;
    }
    return {};
}

EncoderNote readNote(std::string_view message)
{
    EncoderNote note;
    const std::size_t begin = message.find(" options:");
    if (message.find("x264 - core") == std::string_view::npos || begin == std::string_view::npos)
        return note;
    const std::string_view settings = message.substr(begin);
    constexpr int usualQp = 26;
    const bool isAverageRate = settings.find(" rc=abr") != std::string_view::npos
        || settings.find(" rc=cbr") != std::string_view::npos
        || settings.find(" rc=2pass") != std::string_view::npos;
    const std::optional<int> constant = settings.find(" rc=crf") != std::string_view::npos
        ? numberOf(settings, "crf")
        : numberOf(settings, "qp");
    if (isAverageRate)
        note.initialQp = usualQp;
    else if (constant && *constant >= 0 && *constant <= 51)
        note.initialQp = constant;
    note.chromaQpOffset = numberOf(settings, "chroma_qp_offset");
    if (note.chromaQpOffset && (*note.chromaQpOffset < -12 || *note.chromaQpOffset > 12))
        note.chromaQpOffset.reset();
    return note;
}

} // namespace

EncoderNote encoderNoteOf(Bytes bytes, const std::vector<Unit> &units, const Channel &channel)
{
    constexpr std::uint8_t messageType = 6;
    const std::size_t count = std::min(channel.pictures.size(), picturesLookedAt);
    for (std::size_t i = 0; i < count && channel.codec == VideoCodec::H264; ++i) {
        const Picture &picture = channel.pictures[i];
        for (std::uint32_t j = picture.firstUnit; j < picture.firstUnit + picture.unitCount; ++j) {
            if (units[j].type != messageType)
                continue;
            const Bytes message = bytes.subspan(units[j].offset, std::min(units[j].size, longestMessage));
            const EncoderNote note =
                readNote({reinterpret_cast<const char *>(message.data()), message.size()});
            if (note.initialQp || note.chromaQpOffset)
                return note;
        }
    }
    return {};
}
