#pragma once

#include <chrono>

extern "C" {
#include <libavutil/rational.h>
}

/// Times inside the engine. Two times that are less than this apart are the same: positions come in ticks of
/// 1/600 s and pictures in those of their track, both rounded.
using Nanoseconds = std::chrono::nanoseconds;
constexpr Nanoseconds sameTime = std::chrono::microseconds(1);
constexpr AVRational nanosecondBase{1, 1'000'000'000};

inline double toSeconds(Nanoseconds time) { return std::chrono::duration<double>(time).count(); }
