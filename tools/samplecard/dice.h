#pragma once

#include <cstdint>
#include <random>

/// Chance that gives the same values on every machine (the standard distributions don't promise that).
class Dice
{
public:
    explicit Dice(std::uint32_t seed)
        : m_engine(seed)
    {
    }
    /// 0 to limit - 1.
    int below(int limit) { return static_cast<int>(m_engine() % static_cast<std::uint32_t>(limit)); }
    double between(double low, double high)
    {
        return low + (high - low) * (double(m_engine()) / 4294967296.0);
    }

private:
    std::mt19937 m_engine;
};
