#include "requestfilter.h"

namespace {

/// The addresses that a tile address stands for. One that isn't of the web stands for none.
QString tilePattern(const QString &tileAddress)
{
    if (!tileAddress.startsWith(u"https://") && !tileAddress.startsWith(u"http://"))
        return QStringLiteral("(?!)");
    QString pattern = QRegularExpression::escape(tileAddress);
    pattern.replace(QRegularExpression(QStringLiteral(R"(\\\{[xyz]\\\})")), QStringLiteral("-?[0-9]+"));
    pattern.replace(QStringLiteral("\\{s\\}"), QStringLiteral("[a-z]"));
    pattern.replace(QStringLiteral("\\{r\\}"), QStringLiteral("(@2x)?"));
    return QRegularExpression::anchoredPattern(pattern);
}

} // namespace

RequestFilter::RequestFilter(const QString &tileAddress, QObject *parent)
    : QWebEngineUrlRequestInterceptor(parent)
    , m_tile(tilePattern(tileAddress))
{
}

void RequestFilter::interceptRequest(QWebEngineUrlRequestInfo &info)
{
    const bool isTilePicture =
        info.resourceType() == QWebEngineUrlRequestInfo::ResourceTypeImage && isTile(info.requestUrl());
    info.block(!isOwnFile(info.requestUrl()) && !isTilePicture);
}

bool RequestFilter::isOwnFile(const QUrl &url) const
{
    return url.scheme() == u"qrc"
        && (url.path().startsWith(u"/map/") || url.path().startsWith(u"/qtwebchannel/"));
}

bool RequestFilter::isTile(const QUrl &url) const { return m_tile.match(url.toString()).hasMatch(); }
