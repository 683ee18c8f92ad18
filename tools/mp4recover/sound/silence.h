#pragma once

#include "reading/findings.h"
#include "time/timing.h"

#include <cstdint>
#include <vector>

/// Finds out how much sound is missing before a stretch. The clock is only good to some tenths of a second at
/// a single place, so distances to it are collected over some seconds before anything is said.
class SilenceJudge
{
public:
    SilenceJudge(const ClockLine &clock, int sampleRateHz);

    /// What is held back until enough is known: stretches with the samples that came of them.
    struct Piece {
        Span stretch;
        std::int64_t samples = 0;
        bool isFaulty = false; ///< not all of it could be decoded
    };

    /// `isAfterLoss`: something was lost between the stretch before and this one.
    void add(const Piece &piece, bool isAfterLoss);
    /// Is the window full?
    [[nodiscard]] bool isReady() const;
    /// Samples of silence to put before the window's first piece that isn't faulty, or if negative, how many
    /// of its first samples are too many; begins a new window.
    [[nodiscard]] std::int64_t close();

private:
    [[nodiscard]] bool isPictureBetween(std::uint64_t begin, std::uint64_t end) const;
    [[nodiscard]] double missingSeconds();
    void remember(double shift);

    const ClockLine &m_clock;
    double m_rate;
    double m_position = 0; // samples that went out, with silence
    double m_windowSamples = 0;
    std::uint64_t m_end = 0; // of the last piece
    bool m_isAfterLoss = false;
    std::vector<double> m_distances; // seconds by which the clock is ahead in the window
    std::vector<double> m_history; // and before it, where nothing is lost
};
