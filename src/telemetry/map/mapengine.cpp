#include "mapengine.h"

#include "requestfilter.h"

#include <QQuickWebEngineProfile>
#include <QtWebEngineQuick>
#include <unistd.h>

bool MapEngine::isAvailable() { return true; }

void MapEngine::prepare()
{
    // Its sandbox refuses to work for root and would end the whole program at the first view.
    if (geteuid() == 0)
        qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
    QtWebEngineQuick::initialize();
}

void MapEngine::restrict(QObject *profile, const QString &tileAddress)
{
    if (auto *webProfile = qobject_cast<QQuickWebEngineProfile *>(profile))
        webProfile->setUrlRequestInterceptor(new RequestFilter(tileAddress, webProfile));
}
