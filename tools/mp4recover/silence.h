#pragma once

#include "findings.h"
#include "timing.h"

#include <cstdint>
#include <vector>

/// Finds out how much sound is missing before a stretch. The clock is only good to some tenths of a second at
/// a single place, so distances to it are collected over about two seconds before anything is said.
class SilenceJudge
{
public:
    SilenceJudge(const ClockLine &clock, int sampleRateHz);

    /// What is held back until enough is known: stretches with the samples that came of them.
    struct Piece {
        Span stretch;
        std::int64_t samples = 0;
    };

    /// `isAfterLoss`: something was lost between the stretch before and this one.
    void add(const Piece &piece, bool isAfterLoss);
    /// Is the window full?
    [[nodiscard]] bool isReady() const;
    /// Samples of silence to put before the window's first piece; begins a new window.
    [[nodiscard]] std::int64_t close();

private:
    const ClockLine &m_clock;
    double m_rate;
    double m_position = 0; // samples that went out, with silence
    double m_windowSamples = 0;
    bool m_isAfterLoss = false;
    bool m_isFirst = true;
    double m_zero = 0; // seconds by which the clock is ahead where nothing is lost
    double m_spread = 0;
    std::vector<double> m_distances; // seconds
};
