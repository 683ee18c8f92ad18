#pragma once

#include <cstdint>
#include <optional>
#include <QList>
#include <QSize>
#include <QStringList>

/// What the caller asked for on the command line.
struct Options {
    QString target;
    bool isSingleRecording = false;
    qint64 cardBytes = qint64{600} * 1024 * 1024;
    std::uint32_t seed = 1;
    int count = 12;
    int seconds = 20;
    QList<int> channels{1, 2, 4, 5};
    QSize picture{640, 360};
    int fps = 30;
    int days = 3;
    int unfinished = 0;
    int damagedSets = 0;
    bool hasSound = true;
    bool isPartitioned = false;
    std::optional<QString> label;

    /// The sizes of a recording's channels: full high definition is for the first channel only.
    [[nodiscard]] QList<QSize> pictures(int channelCount) const;
};

struct ParsedOptions {
    std::optional<Options> options; ///< none: print `message` and end
    QString message;
    bool isHelp = false;
};

[[nodiscard]] ParsedOptions parseOptions(const QStringList &arguments);
