#pragma once

#include <QRegularExpression>
#include <QWebEngineUrlRequestInterceptor>

/// Lets the map's page load its own files and the pictures of the map service, and nothing else: no local
/// file, no other server. The tile address is as in "https://tile.example/{z}/{x}/{y}.png"; empty for none.
class RequestFilter : public QWebEngineUrlRequestInterceptor
{
    Q_OBJECT
public:
    explicit RequestFilter(const QString &tileAddress, QObject *parent = nullptr);
    void interceptRequest(QWebEngineUrlRequestInfo &info) override;
    [[nodiscard]] bool isOwnFile(const QUrl &url) const;
    [[nodiscard]] bool isTile(const QUrl &url) const;

private:
    QRegularExpression m_tile;
};
