#pragma once

#include <cstdint>

/// How much work a file is worth: searching for what is nowhere in it and decoding on trial end when it is
/// spent, whatever the bytes are. Counts the processor time of this process and of those that it started.
class Budget
{
public:
    Budget(std::uint64_t bytes, std::size_t channels);

    [[nodiscard]] bool isSpent() const { return left() <= 0; }
    [[nodiscard]] double left() const; ///< seconds

private:
    double m_end;
};
