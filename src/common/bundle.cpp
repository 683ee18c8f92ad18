#include "bundle.h"

#include <optional>

namespace {

std::optional<QString> textValue(const BundleDictionary &bundle, const QString &key)
{
    const QVariant value = bundle.value(key);
    if (value.typeId() != QMetaType::QString)
        return std::nullopt;
    return value.toString();
}

} // namespace

const BundleDictionary &bundleDictionary()
{
    static const BundleDictionary dictionary{
        {QStringLiteral("CFBundleDisplayName"), QStringLiteral(VORNEX_DISPLAY_NAME)},
        {QStringLiteral("CFBundleShortVersionString"), QStringLiteral(VORNEX_SHORT_VERSION)},
        {QStringLiteral("CFBundleVersion"), QStringLiteral(VORNEX_BUILD_VERSION)},
    };
    return dictionary;
}

QString applicationName(const BundleDictionary &bundle)
{
    if (const auto displayName = textValue(bundle, QStringLiteral("CFBundleDisplayName")))
        return *displayName;
    return textValue(bundle, QStringLiteral("CFBundleName")).value_or(QStringLiteral("Unknown App"));
}

QString shortVersion(const BundleDictionary &bundle)
{
    return textValue(bundle, QStringLiteral("CFBundleShortVersionString")).value_or(QStringLiteral("N/A"));
}

QString buildVersion(const BundleDictionary &bundle)
{
    return textValue(bundle, QStringLiteral("CFBundleVersion")).value_or(QStringLiteral("N/A"));
}
