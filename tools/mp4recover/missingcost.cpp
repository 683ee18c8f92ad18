#include "missingcost.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace {

// As squared numbers of standard errors.
constexpr double impossible = 25;
constexpr double contradiction = 10;
constexpr double unlikely = 4;

/// What a number costs that doesn't fit. Those that count every picture leave no doubt.
double misfit(const NumberHabits &habits)
{
    return habits.areNumbersUsable && habits.tolerance == 0 ? impossible : contradiction;
}

struct Steps {
    std::size_t ones = 0;
    std::size_t all = 0;
    double sum = 0;
};

/// How the numbers advance from picture to picture where none is missing.
Steps stepsOf(const Channel &channel, const std::vector<std::size_t> &breaks)
{
    const std::int64_t modulus = std::int64_t{1} << channel.numberBits;
    Steps steps;
    auto nextBreak = breaks.begin();
    for (std::size_t i = 1; i < channel.pictures.size(); ++i) {
        while (nextBreak != breaks.end() && *nextBreak < i)
            ++nextBreak;
        if (channel.pictures[i].restartsNumbers || (nextBreak != breaks.end() && *nextBreak == i))
            continue;
        std::int64_t step =
            (std::int64_t{channel.pictures[i].number} - channel.pictures[i - 1].number + modulus) % modulus;
        step = step > modulus / 2 ? step - modulus : step;
        ++steps.all;
        steps.ones += step == 1 ? 1 : 0;
        steps.sum += double(step);
    }
    return steps;
}

/// The distance of key pictures that most have.
std::int64_t groupLengthOf(const Channel &channel, const std::vector<std::size_t> &breaks)
{
    std::map<std::int64_t, std::size_t> lengths;
    std::size_t groups = 0;
    std::int64_t last = -1;
    auto nextBreak = breaks.begin();
    for (std::size_t i = 0; i < channel.pictures.size(); ++i) {
        if (nextBreak != breaks.end() && *nextBreak == i) {
            last = -1;
            ++nextBreak;
        }
        if (!channel.pictures[i].isSync)
            continue;
        // Recording may begin in the middle of a group: the first one may be a short one.
        if (last > 0) {
            ++lengths[static_cast<std::int64_t>(i) - last];
            ++groups;
        }
        last = static_cast<std::int64_t>(i);
    }
    const auto usual = std::max_element(lengths.begin(), lengths.end(),
                                        [](const auto &a, const auto &b) { return a.second < b.second; });
    return usual != lengths.end() && usual->second * 10 >= groups * 7 ? usual->first : 0;
}

} // namespace

NumberHabits numberHabitsOf(const Channel &channel, const std::vector<std::size_t> &breaks)
{
    NumberHabits habits;
    habits.groupLength = groupLengthOf(channel, breaks);
    if (channel.numberBits == 0)
        return habits;
    habits.doKeysRestart =
        std::all_of(channel.pictures.begin(), channel.pictures.end(),
                    [](const Picture &picture) { return !picture.isSync || picture.restartsNumbers; });
    const Steps steps = stepsOf(channel, breaks);
    if (steps.all == 0)
        return habits;
    habits.areNumbersUsable = true;
    if (steps.ones * 10 >= steps.all * 9)
        return habits;
    const bool isH264 = channel.codec == VideoCodec::H264;
    habits.tolerance = isH264 ? 1 : 4;
    habits.stepsPerPicture = isH264 ? steps.sum / double(steps.all) : 1;
    habits.areNumbersUsable = habits.stepsPerPicture > 0.1 && habits.stepsPerPicture <= 1;
    return habits;
}

std::int64_t commonGroupLength(const std::vector<NumberHabits> &all)
{
    std::int64_t common = 0;
    for (const NumberHabits &habits : all) {
        if (habits.groupLength == 0)
            continue;
        if (common != 0 && common != habits.groupLength)
            return 0;
        common = habits.groupLength;
    }
    return common;
}

MissingCost::MissingCost(const Channel &channel, const NumberHabits &habits,
                         const std::vector<std::int64_t> &counts, std::size_t behind, std::size_t end)
    : m_channel(channel)
    , m_habits(habits)
    , m_behind(channel.pictures[behind])
    , m_numberBefore(channel.pictures[behind - 1].number)
{
    for (std::size_t i = behind; i-- > 0;) {
        if (channel.pictures[i].isSync) {
            m_sinceKey = counts[behind - 1] - counts[i];
            break;
        }
    }
    for (std::size_t i = behind; i < end; ++i) {
        if (channel.pictures[i].isSync) {
            m_toKey = static_cast<std::int64_t>(i - behind);
            break;
        }
    }
}

double MissingCost::numberCost(std::int64_t steps, std::uint32_t from) const
{
    if (!m_habits.areNumbersUsable || m_behind.restartsNumbers)
        return 0;
    const std::int64_t modulus = std::int64_t{1} << m_channel.numberBits;
    const auto advance = std::llround(double(steps) * m_habits.stepsPerPicture);
    const std::int64_t off = (std::int64_t{m_behind.number} - from - advance) % modulus;
    const std::int64_t distance = std::min((off + modulus) % modulus, (modulus - off) % modulus);
    if (distance > m_habits.tolerance)
        return misfit(m_habits);
    return double(distance * distance) / std::max(1, m_habits.tolerance);
}

double MissingCost::operator()(std::int64_t missing) const
{
    const std::int64_t length = m_habits.groupLength;
    const std::int64_t distance = missing + 1;
    double cost = 0;
    if (length > 0 && m_sinceKey && m_toKey && (*m_sinceKey + distance + *m_toKey) % length != 0)
        cost += contradiction;
    if (m_behind.restartsNumbers)
        return cost;
    if (length > 0 && m_sinceKey) {
        const std::int64_t place = *m_sinceKey + distance;
        const bool isSameGroup = place < length || !m_habits.doKeysRestart;
        return cost + (isSameGroup ? numberCost(distance, m_numberBefore) : numberCost(place % length, 0));
    }
    // A key picture may be among those that are missing.
    double withKey = misfit(m_habits);
    if (m_habits.areNumbersUsable && double(missing) * m_habits.stepsPerPicture + 1 > m_behind.number)
        withKey = unlikely;
    return cost + std::min(numberCost(distance, m_numberBefore), withKey);
}

double MissingCost::missingKeys(std::int64_t missing) const
{
    const std::int64_t length = m_habits.groupLength;
    if (length == 0)
        return 0;
    if (!m_sinceKey)
        return double(missing) / double(length);
    const std::int64_t keys = (*m_sinceKey + missing) / length - *m_sinceKey / length;
    return double(keys);
}
