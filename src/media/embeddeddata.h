#pragma once

#include "mediadata.h"
#include "tagscan.h"

#include <optional>
#include <QByteArrayView>

/// The records of a file, or why there are none.
struct ParsedMediaData {
    MediaRecords records;
    QString error;
};

/// The telemetry that the camera wrote into the recording's bytes. A file that shrinks meanwhile is searched
/// again. One made to exhaust memory gives as many records as have room in half of 256 MiB, more than a day
/// of recording has; the log tells of the rest. Any thread.
[[nodiscard]] ParsedMediaData parseMediaData(const QString &path);

/// The record of one block's payload, none if it isn't of its kind's form.
[[nodiscard]] std::optional<MediaData> parseBlock(BlockKind kind, QByteArrayView payload);
