#pragma once

#include <cstdint>
#include <vector>

/// Builds a network abstraction layer unit bit by bit; finish() adds the stop bit and the emulation
/// prevention.
class BitWriter
{
public:
    /// At most 32 bits.
    void bits(std::uint32_t value, unsigned count)
    {
        for (; count > 0; --count)
            bit((value >> (count - 1)) & 1U);
    }
    void flag(bool value) { bit(value ? 1 : 0); }
    void unsignedGolomb(std::uint32_t value)
    {
        const std::uint64_t code = std::uint64_t{value} + 1;
        unsigned length = 0;
        while ((code >> length) > 1)
            ++length;
        bits(0, length);
        for (unsigned i = length + 1; i > 0; --i)
            bit(static_cast<std::uint32_t>(code >> (i - 1)) & 1U);
    }
    void signedGolomb(std::int32_t value)
    {
        const auto doubled = std::int64_t{value} * 2;
        unsignedGolomb(static_cast<std::uint32_t>(value > 0 ? doubled - 1 : -doubled));
    }

    [[nodiscard]] std::vector<std::uint8_t> finish()
    {
        flag(true);
        while (m_free != 8)
            bit(0);
        std::vector<std::uint8_t> escaped;
        unsigned zeros = 0;
        for (const std::uint8_t byte : m_bytes) {
            if (zeros >= 2 && byte <= 3) {
                escaped.push_back(3);
                zeros = 0;
            }
            escaped.push_back(byte);
            zeros = byte == 0 ? zeros + 1 : 0;
        }
        return escaped;
    }

private:
    void bit(std::uint32_t value)
    {
        if (m_free == 8)
            m_bytes.push_back(0);
        --m_free;
        m_bytes.back() = static_cast<std::uint8_t>(m_bytes.back() | (value << m_free));
        if (m_free == 0)
            m_free = 8;
    }

    std::vector<std::uint8_t> m_bytes;
    unsigned m_free = 8; // bits not yet used in the last byte; 8: begin a new one
};
