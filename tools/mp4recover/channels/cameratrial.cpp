#include "channels/cameratrial.h"

#include "channels/apart.h"
#include "sets/trialpicture.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace {

constexpr std::size_t longestGroup = 400; // decoded to get to one picture

// Below these a change says nothing: rounding, and noise of the sensor. In steps of luma.
constexpr double leastOfAll = 0.01; // with a picture of each camera, so that all that is usual cancels out
constexpr double leastOfOne = 0.2;
constexpr double leastChange = 0.05;
constexpr double worthOfSmoothing = 0.3;
constexpr double worthOfUnusual = 0.5; // of a change other than the camera's last one
constexpr double clearlyAlone = 1; ///< where there isn't a picture of each camera
constexpr double undecodable = 1000;

/// What a picture does to the one that its decoder had before it.
struct Effect {
    double roughening = 0; ///< by how much more neighbouring samples differ; below 0 where it smoothes
    double change = 0; ///< mean difference
    bool isFaulty = true;
    bool isKnown = false; ///< there was one of that size
};

struct Trial {
    Effect effect;
    Effect usual; ///< that the camera's own last picture had
};

double costOf(double roughening, double change, double leastRoughening)
{
    return std::log(std::max(0.0, roughening) + leastRoughening) + std::log(change + leastChange);
}

/// How unlikely it is that each picture belongs to the camera at its place in `order`.
double costOf(const std::vector<std::vector<Trial>> &trials, const std::vector<std::size_t> &order,
              std::size_t cameraCount)
{
    double roughening = 0;
    double smoothing = 0;
    double change = 0;
    double faulty = 0;
    double relative = 0;
    double unusual = 0;
    for (std::size_t i = 0; i < trials.size(); ++i) {
        const Trial &trial = trials[i][order[i]];
        if (trial.effect.isFaulty) {
            faulty += undecodable;
            continue;
        }
        roughening += std::max(0.0, trial.effect.roughening);
        smoothing += std::max(0.0, -trial.effect.roughening);
        change += trial.effect.change;
        const double ratio =
            std::log((trial.effect.change + leastChange) / (trial.usual.change + leastChange));
        unusual += std::min(1.0, std::abs(ratio));
        relative += costOf(trial.effect.roughening, trial.effect.change, leastOfOne)
            - costOf(trial.usual.roughening, trial.usual.change, leastOfOne);
    }
    // With a picture of each camera what is usual for them is the same whatever the order.
    // The first pictures behind key pictures smooth them; on another camera's they do so less.
    return faulty
        + (trials.size() == cameraCount ? costOf(roughening, change, leastOfAll)
                   - worthOfSmoothing * smoothing + worthOfUnusual * unusual
                                        : relative);
}

Effect effectOf(const TrialDecoder &decoder, bool isGood)
{
    Effect effect;
    const LumaView now = decoder.current();
    const LumaView before = decoder.previous();
    effect.isFaulty = !isGood || !now.samples;
    if (effect.isFaulty || !before.samples || now.width != before.width || now.height != before.height)
        return effect;
    effect.roughening = roughness(now) - roughness(before);
    effect.change = meanDifference(now, before);
    effect.isKnown = true;
    return effect;
}

} // namespace

CameraTrial::CameraTrial(Bytes bytes, VideoCodec codec, const AccessUnits &found,
                         const std::vector<std::vector<ParameterSet>> &sets, const Budget &budget)
    : m_bytes(bytes)
    , m_codec(codec)
    , m_found(found)
    , m_sets(sets)
    , m_budget(budget)
    , m_followers(sets.size())
{
}

Sample CameraTrial::sampleOf(std::uint32_t picture) const
{
    Sample sample;
    const AccessUnit &unit = m_found.pictures[picture];
    for (std::uint32_t i = unit.firstUnit; i < unit.firstUnit + unit.unitCount; ++i) {
        const FoundUnit &found = m_found.units[i];
        if (found.kind != UnitKind::Slice)
            continue;
        const Bytes own = m_bytes.subspan(found.offset, found.size + 4);
        sample.insert(sample.end(), own.begin(), own.end());
    }
    return sample;
}

/// Brings the camera's decoder to its last picture.
bool CameraTrial::follow(const Camera &camera)
{
    Follower &follower = m_followers[camera.channel];
    const std::vector<std::uint32_t> &group = *camera.group;
    if (m_sets[camera.channel].empty() || group.size() > longestGroup)
        return false;
    const bool goesOn = follower.decoder && !follower.fed.empty() && follower.fed.size() <= group.size()
        && std::equal(follower.fed.begin(), follower.fed.end(), group.begin());
    const bool isNextGroup =
        follower.decoder && !group.empty() && m_found.pictures[group.front()].slice.isSync;
    if (!goesOn) {
        if (!isNextGroup)
            follower.decoder =
                std::make_unique<TrialDecoder>(m_codec, m_sets[camera.channel], TrialDecoder::Stop::Never);
        follower.fed.clear();
    }
    for (std::size_t i = follower.fed.size(); i < group.size(); ++i) {
        if (m_budget.isSpent())
            return false;
        static_cast<void>(follower.decoder->decode(sampleOf(group[i])));
        follower.fed.push_back(group[i]);
    }
    return true;
}

std::optional<std::vector<std::uint8_t>> CameraTrial::assign(const std::vector<std::uint32_t> &pictures,
                                                             const std::vector<Camera> &cameras,
                                                             double margin)
{
    if (m_budget.isSpent() || pictures.size() > cameras.size()
        || !std::all_of(cameras.begin(), cameras.end(), [this](const Camera &one) { return follow(one); }))
        return std::nullopt;
    std::vector<Sample> samples;
    for (const std::uint32_t picture : pictures)
        samples.push_back(sampleOf(picture));
    std::vector<std::vector<Trial>> trials(pictures.size(), std::vector<Trial>(cameras.size()));
    // Each decoder takes one picture in each process: one for each way to shift the pictures against the
    // cameras.
    for (std::size_t shift = 0; shift < cameras.size(); ++shift) {
        std::vector<Trial> some(pictures.size());
        const auto decode = [&] {
            for (std::size_t i = 0; i < pictures.size(); ++i) {
                const Camera &camera = cameras[(i + shift) % cameras.size()];
                TrialDecoder &decoder = *m_followers[camera.channel].decoder;
                some[i].usual = effectOf(decoder, true);
                const bool isGood = decoder.decode(samples[i]);
                some[i].effect = effectOf(decoder, isGood);
            }
        };
        if (!runApart(decode, std::as_writable_bytes(std::span(some)), m_budget.left()))
            return std::nullopt;
        for (std::size_t i = 0; i < pictures.size(); ++i)
            trials[i][(i + shift) % cameras.size()] = some[i];
    }
    std::vector<std::size_t> order(cameras.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::vector<std::size_t> best;
    double least = std::numeric_limits<double>::max();
    double next = least;
    do {
        // What stands behind the pictures only changes the places of cameras without one.
        if (!std::is_sorted(order.begin() + static_cast<std::ptrdiff_t>(pictures.size()), order.end()))
            continue;
        const double cost = costOf(trials, order, cameras.size());
        if (cost < least) {
            next = least;
            least = cost;
            best = order;
        } else {
            next = std::min(next, cost);
        }
    } while (std::next_permutation(order.begin(), order.end()));
    if (next - least < (pictures.size() == cameras.size() ? margin : clearlyAlone))
        return std::nullopt;
    std::vector<std::uint8_t> channels;
    for (std::size_t i = 0; i < pictures.size(); ++i)
        channels.push_back(cameras[best[i]].channel);
    return channels;
}
