#pragma once

#include "options.h"
#include "recording.h"

#include <QByteArray>

/// A recording and its place on the card, such as "mov/event/E_20240309_170559.mp4".
struct CardRecording {
    QString path;
    RecordingPlan plan;
};

/// A small text file of the card.
struct CardText {
    QString path;
    QByteArray text;
};

/// The recording that `--recording` asks for.
[[nodiscard]] RecordingPlan singleRecording(const Options &options);
/// What the card holds, the oldest recording first.
[[nodiscard]] QList<CardRecording> planRecordings(const Options &options);
/// The settings of the camera and the index files of the recordings.
[[nodiscard]] QList<CardText> planTexts(const Options &options, const QList<CardRecording> &recordings);
