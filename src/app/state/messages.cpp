#include "messages.h"

#include <QCoreApplication>

namespace {

QString tr(const char *text) { return QCoreApplication::translate("Messages", text); }

QString withReason(const QString &message, const QString &reason)
{
    constexpr qsizetype longestReason = 200; // of a tool
    return reason.isEmpty() ? message : message + u'\n' + reason.left(longestReason);
}

} // namespace

QString messages::fetching() { return tr("영상 다운로드 중입니다. 잠시만 기다려주세요."); }

QString messages::repairing() { return tr("영상을 복구 중입니다. 잠시만 기다려주세요."); }

QString messages::damaged() { return tr("영상 파일이 손상되어 정상적으로 재생할 수 없습니다."); }

QString messages::diskFull(const QString &disk)
{
    return tr("디스크 공간이 부족하여 영상을 재생할 수 없습니다: %1").arg(disk);
}

QString messages::notRead(const QString &reason)
{
    return withReason(tr("SD 카드에서 영상을 읽지 못했습니다."), reason);
}

QString messages::cardRemoved() { return tr("SD 카드가 제거되어 영상을 재생하지 못했습니다."); }

QString messages::locationSaved() { return tr("GPS 데이터(location.txt)를 SD 카드에 저장했습니다."); }

QString messages::gSensorSaved() { return tr("G-Sensor 데이터(gsensor.txt)를 SD 카드에 저장했습니다."); }

QString messages::noCard() { return tr("SD 카드를 인식하지 못하였습니다."); }

QString messages::insertCard() { return tr("블랙박스 SD 카드가 올바르게 삽입되었는지 확인해 주세요."); }

QString messages::download() { return tr("블랙박스 영상 다운로드"); }

QString messages::downloadFinished() { return tr("다운로드가 완료되었습니다."); }
