#include "sets/trialpicture.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>

namespace {

const std::uint8_t *rowOf(const LumaView &picture, int y)
{
    return picture.samples + static_cast<std::size_t>(y) * picture.stride;
}

int columnsOf(const LumaView &picture, int blockSize) { return (picture.width + blockSize - 1) / blockSize; }
int rowsOf(const LumaView &picture, int blockSize) { return (picture.height + blockSize - 1) / blockSize; }

} // namespace

double roughness(const LumaView &picture)
{
    constexpr int step = 3; // odd, so that all columns of blocks have their say
    std::int64_t sum = 0;
    std::int64_t count = 0;
    for (int y = 1; picture.samples && y < picture.height; y += step) {
        const std::uint8_t *row = rowOf(picture, y);
        const std::uint8_t *above = rowOf(picture, y - 1);
        for (int x = 1; x < picture.width; ++x)
            sum += std::abs(row[x] - row[x - 1]) + std::abs(row[x] - above[x]);
        count += picture.width;
    }
    return count > 0 ? double(sum) / double(count) : 0;
}

double meanDifference(const LumaView &a, const LumaView &b)
{
    constexpr int step = 3;
    std::int64_t sum = 0;
    std::int64_t count = 0;
    for (int y = 0; y < a.height; y += step) {
        const std::uint8_t *row = rowOf(a, y);
        const std::uint8_t *other = rowOf(b, y);
        for (int x = 0; x < a.width; ++x)
            sum += std::abs(row[x] - other[x]);
        count += a.width;
    }
    return count > 0 ? double(sum) / double(count) : 0;
}

bool isFilledToTheEnd(const LumaView &picture)
{
    if (!picture.samples)
        return false;
    constexpr int strip = 8;
    for (int y = std::max(0, picture.height - strip); y < picture.height; ++y) {
        const std::uint8_t *row = picture.samples + static_cast<std::size_t>(y) * picture.stride;
        if (std::any_of(row + std::max(0, picture.width - strip), row + picture.width,
                        [](std::uint8_t sample) { return sample != 0; }))
            return true;
    }
    return false;
}

std::vector<double> smallPicture(const LumaView &picture)
{
    constexpr int step = 4;
    if (!picture.samples)
        return {};
    std::vector<double> values;
    for (int y = 0; y < picture.height; y += step)
        for (int x = 0; x < picture.width; x += step)
            values.push_back(
                picture.samples[static_cast<std::size_t>(y) * picture.stride + static_cast<std::size_t>(x)]);
    return values;
}

double likeness(const std::vector<double> &a, const std::vector<double> &b)
{
    if (a.empty() || a.size() != b.size())
        return 0;
    const auto count = double(a.size());
    const double meanA = std::accumulate(a.begin(), a.end(), 0.0) / count;
    const double meanB = std::accumulate(b.begin(), b.end(), 0.0) / count;
    double product = 0;
    double powerA = 0;
    double powerB = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        product += (a[i] - meanA) * (b[i] - meanB);
        powerA += (a[i] - meanA) * (a[i] - meanA);
        powerB += (b[i] - meanB) * (b[i] - meanB);
    }
    const double power = std::sqrt(powerA * powerB);
    return power > 0 ? product / power : 0;
}

int firstDifferentBlock(const LumaView &a, const LumaView &b, int blockSize)
{
    constexpr int filterReach = 8;
    const int columns = columnsOf(a, blockSize);
    const int rows = rowsOf(a, blockSize);
    int first = countBlocks(a, blockSize);
    if (!a.samples || !b.samples || a.width != b.width || a.height != b.height)
        return 0;
    for (int y = 0; y < a.height; ++y) {
        const std::uint8_t *row = rowOf(a, y);
        const std::uint8_t *end = row + a.width;
        const auto different = std::mismatch(row, end, rowOf(b, y)).first;
        if (different == end)
            continue;
        const int x = static_cast<int>(different - row);
        first = std::min(first,
                         std::min(rows - 1, (y + filterReach) / blockSize) * columns
                             + std::min(columns - 1, (x + filterReach) / blockSize));
    }
    return first;
}

int countBlocks(const LumaView &picture, int blockSize)
{
    return columnsOf(picture, blockSize) * rowsOf(picture, blockSize);
}
