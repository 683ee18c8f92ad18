#include "overlay.h"

namespace {

Overlay ofDownload(const QString &message)
{
    const QString title = Overlay::tr("블랙박스 영상 다운로드");
    if (message.isEmpty())
        return {true, title, Overlay::tr("다운로드가 완료되었습니다."), Overlay::tr("닫기"),
                Overlay::Action::DismissDownload};
    return {true, title, message, Overlay::tr("취소"), Overlay::Action::DismissDownload};
}

} // namespace

// The order of the tests is the order of precedence.
Overlay Overlay::of(const OverlayConditions &conditions)
{
    if (!conditions.isInitialized || conditions.isAlerting)
        return {};
    if (!conditions.hasCard)
        return {true,
                tr("SD 카드를 인식하지 못하였습니다."),
                tr("블랙박스 SD 카드가 올바르게 삽입되었는지 확인해 주세요."),
                {},
                Action::None};
    if (conditions.alertMessage)
        return {true, *conditions.alertMessage, {}, tr("확인"), Action::DismissAlert};
    if (conditions.procMessage)
        return {true, *conditions.procMessage, {}, {}, Action::None};
    if (conditions.downloadMessage)
        return ofDownload(*conditions.downloadMessage);
    return {};
}
