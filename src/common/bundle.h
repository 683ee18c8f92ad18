#pragma once

#include <QHash>
#include <QString>
#include <QVariant>

/// The values that a desktop bundle carries about its program, under the bundle's own keys
/// ("CFBundleDisplayName", "CFBundleName", "CFBundleShortVersionString", "CFBundleVersion").
using BundleDictionary = QHash<QString, QVariant>;

/// This program's own values, compiled in.
[[nodiscard]] const BundleDictionary &bundleDictionary();

/// The display name, else the name, else "Unknown App". A value that is no text counts as missing, an empty
/// one doesn't.
[[nodiscard]] QString applicationName(const BundleDictionary &bundle = bundleDictionary());
/// For example "1.2.0", or "N/A".
[[nodiscard]] QString shortVersion(const BundleDictionary &bundle = bundleDictionary());
/// For example "7", or "N/A".
[[nodiscard]] QString buildVersion(const BundleDictionary &bundle = bundleDictionary());
