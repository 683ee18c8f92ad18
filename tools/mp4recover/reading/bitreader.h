#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// Reads the bits of a network abstraction layer unit. The emulation prevention bytes (the 3 of 00 00 03) are
/// skipped on the way, so the span may lie in the mapped file. Total: reading past the end gives zeros and
/// clears isGood().
class BitReader
{
public:
    explicit BitReader(std::span<const std::uint8_t> bytes)
        : m_bytes(bytes)
    {
    }

    [[nodiscard]] bool isGood() const { return m_isGood; }
    /// Bits read so far, without the emulation prevention bytes.
    [[nodiscard]] std::uint64_t position() const { return m_position; }

    std::uint32_t bit()
    {
        if (m_bitsLeft == 0 && !loadByte())
            return 0;
        --m_bitsLeft;
        ++m_position;
        return (m_byte >> m_bitsLeft) & 1U;
    }
    bool flag() { return bit() != 0; }

    /// At most 32 bits.
    std::uint32_t bits(unsigned count)
    {
        std::uint32_t value = 0;
        for (; count > 0; --count)
            value = (value << 1U) | bit();
        return value;
    }
    void skip(unsigned count)
    {
        for (; count > 0; --count)
            bit();
    }

    /// ue(v), up to 2^32 - 2.
    std::uint32_t unsignedGolomb()
    {
        unsigned zeros = 0;
        while (m_isGood && zeros <= 32 && bit() == 0)
            ++zeros;
        if (zeros >= 32) {
            m_isGood = false;
            return 0;
        }
        return ((1U << zeros) - 1) + bits(zeros);
    }
    /// se(v)
    std::int32_t signedGolomb()
    {
        const std::uint32_t code = unsignedGolomb();
        const auto half = static_cast<std::int32_t>((code >> 1U) + (code & 1U));
        return (code & 1U) != 0 ? half : -half;
    }

    /// Are there data bits before the stop bit? Looks ahead without reading.
    [[nodiscard]] bool hasMoreData() const
    {
        BitReader rest = *this;
        return !rest.readTrailingBits() && m_isGood;
    }
    /// The stop bit, and nothing but zeros behind it.
    bool readTrailingBits()
    {
        if (!flag())
            return false;
        const std::uint32_t restOfByte = m_byte & ((1U << m_bitsLeft) - 1U);
        m_bitsLeft = 0;
        std::uint32_t seen = restOfByte;
        for (; m_next < m_bytes.size(); ++m_next)
            seen |= m_bytes[m_next];
        return m_isGood && seen == 0;
    }

    /// How many data bits stand before the stop bit, from here on. Looks ahead without reading.
    [[nodiscard]] std::uint64_t countDataBits() const
    {
        BitReader rest = *this;
        std::uint64_t stop = 0;
        for (std::uint64_t i = 0; rest.isGood(); ++i)
            if (rest.flag())
                stop = i;
        return stop;
    }

private:
    bool loadByte()
    {
        if (m_zeros >= 2 && m_next < m_bytes.size() && m_bytes[m_next] == 3) {
            ++m_next;
            m_zeros = 0;
        }
        if (m_next >= m_bytes.size()) {
            m_isGood = false;
            return false;
        }
        m_byte = m_bytes[m_next++];
        m_zeros = m_byte == 0 ? m_zeros + 1 : 0;
        m_bitsLeft = 8;
        return true;
    }

    std::span<const std::uint8_t> m_bytes;
    std::size_t m_next = 0;
    unsigned m_zeros = 0;
    std::uint32_t m_byte = 0;
    unsigned m_bitsLeft = 0;
    std::uint64_t m_position = 0;
    bool m_isGood = true;
};
