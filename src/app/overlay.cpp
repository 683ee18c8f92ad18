#include "overlay.h"

#include "app/state/messages.h"

namespace {

Overlay ofDownload(const QString &message)
{
    if (message.isEmpty())
        return {true, messages::download(), messages::downloadFinished(), Overlay::tr("닫기"),
                Overlay::Action::DismissDownload};
    return {true, messages::download(), message, Overlay::tr("취소"), Overlay::Action::DismissDownload};
}

} // namespace

// The order of the tests is the order of precedence.
Overlay Overlay::of(const OverlayConditions &conditions)
{
    if (!conditions.isInitialized || conditions.isAlerting)
        return {};
    if (!conditions.hasCard)
        return {true, messages::noCard(), messages::insertCard(), {}, Action::None};
    if (conditions.alertMessage)
        return {true, *conditions.alertMessage, {}, tr("확인"), Action::DismissAlert};
    if (conditions.procMessage)
        return {true, *conditions.procMessage, {}, {}, Action::None};
    if (conditions.downloadMessage)
        return ofDownload(*conditions.downloadMessage);
    return {};
}
