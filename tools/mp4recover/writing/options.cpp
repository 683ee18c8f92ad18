#include "writing/options.h"

#include "failure.h"

#include <charconv>
#include <map>
#include <optional>
#include <string_view>

namespace {

constexpr int mostChannels = 16;
constexpr std::string_view channelPrefix = "--ch";

[[noreturn]] void refuse(const std::string &text)
{
    throw Failure(ExitStatus::Usage, text + " (see --help)");
}

/// A decimal number from 1 on; large ones become the largest.
std::optional<int> positive(std::string_view text)
{
    constexpr int largest = 1'000'000;
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end != text.data() + text.size() || error == std::errc::invalid_argument)
        return {};
    if (error == std::errc::result_out_of_range || value > largest)
        return largest;
    return value >= 1 ? std::optional(value) : std::nullopt;
}

ChannelRequest parseChannel(std::string_view text)
{
    const std::size_t cross = text.find('x');
    const std::size_t at = text.find('@');
    if (cross != std::string_view::npos && at != std::string_view::npos && cross < at) {
        const auto width = positive(text.substr(0, cross));
        const auto height = positive(text.substr(cross + 1, at - cross - 1));
        const auto rate = positive(text.substr(at + 1));
        if (width && height && rate)
            return {*width, *height, *rate};
    }
    refuse("\"" + std::string(text) + "\" is no WIDTHxHEIGHT@FPS");
}

/// --ch2 and its value, which follows or stands behind an equals sign. Moves `next` behind what was used.
void takeChannel(const std::vector<std::string> &arguments, std::size_t &next,
                 std::map<int, ChannelRequest> &channels)
{
    const std::string_view argument = arguments[next++];
    const std::size_t equals = argument.find('=');
    const auto number = positive(argument.substr(channelPrefix.size(), equals - channelPrefix.size()));
    if (!number || *number > mostChannels)
        refuse("unknown option " + std::string(argument));
    if (equals == std::string_view::npos && next >= arguments.size())
        refuse(std::string(argument) + " needs a value");
    const std::string_view value =
        equals == std::string_view::npos ? std::string_view(arguments[next++]) : argument.substr(equals + 1);
    if (!channels.emplace(*number, parseChannel(value)).second)
        refuse("channel " + std::to_string(*number) + " is named twice");
}

} // namespace

Options parseOptions(const std::vector<std::string> &arguments)
{
    Options options;
    std::vector<std::string> paths;
    std::map<int, ChannelRequest> channels;
    bool areOptionsOver = false;
    for (std::size_t next = 0; next < arguments.size();) {
        const std::string &argument = arguments[next];
        if (areOptionsOver || !argument.starts_with('-')) {
            paths.push_back(arguments[next++]);
        } else if (argument == "--") {
            areOptionsOver = true;
            ++next;
        } else if (argument == "--help" || argument == "-h") {
            options.command = Options::Command::Help;
            return options;
        } else if (argument == "--version") {
            options.command = Options::Command::Version;
            return options;
        } else if (argument.starts_with(channelPrefix)) {
            takeChannel(arguments, next, channels);
        } else {
            refuse("unknown option " + argument);
        }
    }
    if (paths.size() != 2)
        refuse("a source and a target are needed");
    options.source = paths[0];
    options.target = paths[1];
    for (const auto &[number, channel] : channels) {
        options.channels.push_back(channel);
        if (number != static_cast<int>(options.channels.size()))
            refuse("channel " + std::to_string(options.channels.size()) + " is not named");
    }
    return options;
}

std::string helpText()
{
    return R"(Usage: mp4recover SOURCE TARGET [--chN WIDTHxHEIGHT@FPS ...]
Makes a playable recording of one that the camera didn't finish or that is damaged: an MP4 at TARGET and, if there
is sound, an MP3 of the same name. SOURCE is only read. Nothing is left at TARGET when no frame is found.

Options:
  --chN WIDTHxHEIGHT@FPS  size and rate of channel N, counted from 1; without them they are taken from the recording
  --help                  this text
  --version               the version

Standard error tells the progress and, at the end, for each channel how many frames were found and how many are lost.

Exit status:
  0  a recording was written
  1  the command line is wrong
  2  SOURCE can't be read
  3  no frame was found; nothing was written
  4  TARGET can't be written
  5  no memory, or a library refused to work
)";
}
