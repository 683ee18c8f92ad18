#include "entryname.h"

#include <cstdint>

namespace {

constexpr std::uint32_t invalid = UINT32_MAX;

/// Takes one character off the front.
std::uint32_t takeCharacter(std::string_view &text)
{
    const auto byte = [&text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    const std::size_t length = first < 0x80 ? 1
        : first < 0xc2                      ? 0
        : first < 0xe0                      ? 2
        : first < 0xf0                      ? 3
        : first < 0xf5                      ? 4
                                            : 0;
    if (length == 0 || length > text.size())
        return invalid;
    std::uint32_t value = length == 1 ? first : first & (0x7fU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0U) != 0x80)
            return invalid;
        value = value << 6 | (byte(i) & 0x3fU);
    }
    text.remove_prefix(length);
    const bool isOverlong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
    const bool isSurrogate = value >= 0xd800 && value < 0xe000;
    return isOverlong || isSurrogate || value > 0x10ffff ? invalid : value;
}

bool isBlankOrControl(std::uint32_t c)
{
    return c <= 0x20 || (c >= 0x7f && c <= 0xa0) || c == 0x1680 || (c >= 0x2000 && c <= 0x200f)
        || (c >= 0x2028 && c <= 0x202f) || (c >= 0x205f && c <= 0x206f) || c == 0x3000 || c == 0xfeff;
}

} // namespace

bool isListableName(std::string_view name)
{
    bool isEmpty = true;
    while (!name.empty()) {
        const std::uint32_t character = takeCharacter(name);
        if (character == invalid || character == '/' || isBlankOrControl(character))
            return false;
        isEmpty = false;
    }
    return !isEmpty;
}
