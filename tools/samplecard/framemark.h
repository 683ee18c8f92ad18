#pragma once

#include <array>
#include <QRectF>

/// What is drawn into every frame so that a test can tell which frame of which channel it looks at: a strip
/// of black and white cells along the lower edge of the picture, and a lamp that flashes at each whole
/// second. All places are fractions of the picture's width and height, so they hold at any size.
namespace framemark {

inline constexpr int columns = 16;
inline constexpr int rows = 2;
inline constexpr double rowHeight = 1.0 / 24;
inline constexpr int cellCount = columns * rows;
inline constexpr int channelBits = 3;
inline constexpr int numberBits = 17;
inline constexpr int checkBits = 8;

/// The lamp: white for the first tenth of each second, nearly black for the rest.
inline constexpr QRectF lamp{0.90, 0.03, 0.07, 0.10};
inline constexpr double flashSeconds = 0.1;

using Cells = std::array<bool, cellCount>; ///< row by row from the upper left, true is white

/// The four corner cells are fixed, and differ under every mirroring.
struct Corner {
    int cell;
    bool isWhite;
};
inline constexpr std::array corners{Corner{0, true}, Corner{columns - 1, false}, Corner{columns, false},
                                    Corner{cellCount - 1, true}};

constexpr bool isCorner(int cell)
{
    for (const Corner &corner : corners)
        if (corner.cell == cell)
            return true;
    return false;
}

/// CRC-8 (polynomial 0x07) over the channel and the number, most significant bit first.
constexpr unsigned checksum(unsigned value)
{
    unsigned crc = 0xff;
    for (int bit = channelBits + numberBits - 1; bit >= 0; --bit) {
        const bool feedback = (((crc >> 7) ^ (value >> bit)) & 1U) != 0;
        crc = (crc << 1) & 0xffU;
        if (feedback)
            crc ^= 0x07U;
    }
    return crc;
}

/// channel from 1 to 7, frameNumber from 0 to 131071.
constexpr Cells cells(int channel, int frameNumber)
{
    const unsigned value =
        (static_cast<unsigned>(channel) << numberBits) | static_cast<unsigned>(frameNumber);
    const unsigned word = (value << checkBits) | checksum(value);
    Cells result{};
    for (const Corner &corner : corners)
        result[static_cast<std::size_t>(corner.cell)] = corner.isWhite;
    int bit = channelBits + numberBits + checkBits - 1;
    for (int cell = 0; cell < cellCount; ++cell)
        if (!isCorner(cell))
            result[static_cast<std::size_t>(cell)] = ((word >> bit--) & 1U) != 0;
    return result;
}

/// The cell's place in a picture of width and height 1.
constexpr QRectF cellRect(int cell)
{
    const int row = cell / columns;
    const int column = cell % columns;
    return {double(column) / columns, 1.0 - (rows - row) * rowHeight, 1.0 / columns, rowHeight};
}

} // namespace framemark
