#pragma once

#include "tagscan.h"

#include <functional>
#include <optional>
#include <QByteArrayView>
#include <QJsonArray>
#include <QJsonObject>

/// The telemetry that the camera wrote into the recording's bytes, as records in the JSON form that
/// decodeMediaData() reads: all channel descriptions, then all positions, then all accelerometer samples,
/// each in file order. Never fails: a file that can't be read gives one object whose key "error" makes that
/// decoding fail. One that shrinks meanwhile is searched again. Any thread.
[[nodiscard]] QJsonArray parseMediaData(const QString &path);

/// The same on a worker; completion is called on the main thread.
void parseMediaDataAsync(const QString &path, std::function<void(QJsonArray)> completion);

/// The record of one block's payload, none if it isn't of its kind's form.
[[nodiscard]] std::optional<QJsonObject> parseBlock(BlockKind kind, QByteArrayView payload);
