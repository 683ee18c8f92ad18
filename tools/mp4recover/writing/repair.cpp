#include "writing/repair.h"

#include "budget.h"

#include "failure.h"
#include "sets/decoderconfig.h"
#include "sets/setschoice.h"
#include "sound/sound.h"
#include "sound/soundformat.h"
#include "time/holes.h"
#include "time/pictureorder.h"
#include "time/timing.h"
#include "writing/mp4writer.h"
#include "writing/outputfile.h"

#include <algorithm>
#include <future>
#include <optional>

namespace {

/// A channel on its way to its track.
struct Plan {
    const Channel *channel = nullptr;
    ChosenSets sets;
    std::vector<std::uint8_t> configuration; ///< avcC or hvcC
    VideoTimes times;
};

std::size_t tracksNeeded(const Findings &findings)
{
    std::size_t count = findings.channels.size();
    while (count > 0 && findings.channels[count - 1].pictures.empty())
        --count;
    return count;
}

/// The time of the pictures over the file. Sound stands beside the pictures of its time whatever the order in
/// which the camera writes, so this places it better than the blocks do.
ClockLine clockOfPictures(const std::vector<Plan> &plans, const std::vector<Unit> &units)
{
    const auto longest = std::max_element(plans.begin(), plans.end(), [](const Plan &a, const Plan &b) {
        return a.times.decode.size() < b.times.decode.size();
    });
    std::vector<ClockMark> marks;
    if (longest != plans.end())
        for (std::size_t i = 0; i < longest->times.decode.size(); ++i)
            marks.push_back({units[longest->channel->pictures[i].firstUnit].offset,
                             double(longest->times.decode[i]) / longest->times.timescale});
    return ClockLine(marks);
}

std::vector<Plan> planChannels(Bytes source, const Findings &findings)
{
    std::vector<Plan> plans;
    const std::size_t count = tracksNeeded(findings);
    std::vector<ChosenSets> sets =
        setsOfChannels(source, findings, count, Budget(source.size(), findings.channels.size()));
    std::vector<ChannelHints> hints(findings.channels.size());
    for (std::size_t i = 0; i < count; ++i) {
        const Channel &channel = findings.channels[i];
        plans.push_back({&channel, std::move(sets[i]), {}, {}});
        plans[i].configuration = decoderConfiguration(channel.codec, plans[i].sets.units);
        hints[i].rate = {plans[i].sets.framesPerSecond,
                         channel.request ? channel.request->framesPerSecond : 0};
        if (!plans[i].configuration.empty())
            hints[i].order = displayOrder(source, findings.units, channel, plans[i].configuration);
    }
    std::vector<VideoTimes> times = timePictures(findings, hints);
    for (std::size_t i = 0; i < plans.size(); ++i)
        plans[i].times = std::move(times[i]);
    return plans;
}

std::vector<VideoTrack> tracksOf(std::vector<Plan> &plans)
{
    std::vector<VideoTrack> tracks;
    for (Plan &plan : plans) {
        if (plan.channel->pictures.empty() || plan.configuration.empty())
            continue;
        VideoTrack track;
        track.channel = plan.channel;
        track.width = plan.sets.width;
        track.height = plan.sets.height;
        track.configuration = std::move(plan.configuration);
        track.times = std::move(plan.times);
        track.sets = &plan.sets.units;
        tracks.push_back(std::move(track));
    }
    return tracks;
}

} // namespace

std::string soundPathFor(const std::string &target)
{
    const std::size_t folder = target.rfind('/');
    const std::size_t dot = target.rfind('.');
    const std::size_t nameStart = folder == std::string::npos ? 0 : folder + 1;
    const bool hasExtension = dot != std::string::npos && dot > nameStart;
    return target.substr(0, hasExtension ? dot : target.size()) + ".mp3";
}

RepairReport repair(Bytes source, const Findings &findings, const std::string &target,
                    const std::function<void(double)> &progress)
{
    std::vector<Plan> plans = planChannels(source, findings);
    const ClockLine clock = clockOfPictures(plans, findings.units);
    // Where nothing is missing, silence would only pull the sound apart.
    const ClockLine silenceClock = holesOf(findings).empty() ? ClockLine({}) : clock;
    const std::vector<VideoTrack> tracks = tracksOf(plans);
    if (tracks.empty())
        throw Failure(ExitStatus::NothingFound, "no frame was found");

    std::optional<OutputFile> soundFile;
    std::future<SoundResult> sounding;
    OutputFile pictureFile(target);
    if (const SoundFormat format = soundFormatOf(source, findings.sound, clock, findings.losses);
        format.kind != SoundKind::None) {
        soundFile.emplace(soundPathFor(target));
        sounding = std::async(std::launch::async, [&, format] {
            const SoundResult result =
                writeSound(*soundFile, source, findings.sound, format, silenceClock, findings.losses);
            soundFile->finish();
            return result;
        });
    }
    writeMp4(pictureFile, source, findings.units, tracks, progress);
    pictureFile.finish();
    RepairReport report;
    for (const VideoTrack &track : tracks)
        report.channels.push_back({track.channel->pictures.size(), track.times.lost});
    if (sounding.valid()) {
        const SoundResult result = sounding.get();
        report.soundSeconds = result.seconds;
        report.silentSeconds = result.silentSeconds;
        if (result.seconds > 0)
            soundFile->publish();
    }
    pictureFile.publish();
    return report;
}
