#include "soundstart.h"

#include "pcmgaps.h"

#include "common/mpegaudio.h"

#include <algorithm>

namespace {

/// Reads a few bits, highest first.
unsigned bitsAt(const std::uint8_t *bytes, unsigned position, unsigned count)
{
    unsigned value = 0;
    for (unsigned i = position; i < position + count; ++i)
        value = value << 1U | ((bytes[i / 8] >> (7 - i % 8)) & 1U);
    return value;
}

/// A raw data block of AAC (ISO/IEC 14496-3, 4.4.2): one or two channels, instance 0, a believable window.
bool isAacStart(Bytes bytes)
{
    if (bytes.size() < 8)
        return false;
    const std::uint8_t *data = bytes.data();
    constexpr unsigned shortWindows = 2;
    constexpr unsigned single = 0;
    constexpr unsigned pair = 1;
    constexpr unsigned fill = 6;
    const unsigned element = bitsAt(data, 0, 3);
    if (element == fill) // such as an encoder puts its name into
        return bitsAt(data, 3, 4) == 15;
    if ((element != single && element != pair) || bitsAt(data, 3, 4) != 0)
        return false;
    unsigned at = 7;
    if (element == single && bitsAt(data, at, 8) == 0)
        return false; // without gain
    if (element == single)
        at += 8;
    else if (bitsAt(data, at++, 1) == 0)
        at += 8; // no common window: the first channel's gain comes first
    const bool isReserved = bitsAt(data, at, 1) != 0;
    const unsigned window = bitsAt(data, at + 1, 2);
    if (isReserved || window == shortWindows)
        return !isReserved;
    constexpr unsigned mostBands = 51;
    return bitsAt(data, at + 4, 6) <= mostBands && bitsAt(data, at + 10, 1) == 0;
}

} // namespace

bool isSoundStart(SoundKind kind, Bytes bytes)
{
    switch (kind) {
    case SoundKind::None: return false;
    case SoundKind::Aac: return isAacStart(bytes);
    case SoundKind::Mp3: return mpegAudioHeaderAt(bytes).has_value();
    case SoundKind::Pcm16: return isPcmStart(bytes);
    }
    return false;
}
