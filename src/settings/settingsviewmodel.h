#pragma once

#include "settingsfiles.h"
#include "text/settingstext.h"

#include <QDateTime>
#include <QObject>
#include <QStringList>
#include <QVariantList>

/// The camera's settings, as the form shows them: one field for each control, read from bbox.ini and bbox.cfg
/// and written to bbox.cfg. A field holds what its control holds, such as an index; settingskeys.h says what
/// it stands for in the files. Fields that come from a file can hold values that no control offers; they are
/// written back as they came. Main thread.
class SettingsViewModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool useLdws MEMBER m_useLdws NOTIFY useLdwsChanged FINAL)
    Q_PROPERTY(bool useFvsa MEMBER m_useFvsa NOTIFY useFvsaChanged FINAL)
    Q_PROPERTY(bool useSafeDrive MEMBER m_useSafeDrive NOTIFY useSafeDriveChanged FINAL)
    Q_PROPERTY(bool useHybrid MEMBER m_useHybrid NOTIFY useHybridChanged FINAL)
    Q_PROPERTY(bool useSecretMode MEMBER m_useSecretMode NOTIFY useSecretModeChanged FINAL)
    Q_PROPERTY(qint64 storagePriority MEMBER m_storagePriority NOTIFY storagePriorityChanged FINAL)
    Q_PROPERTY(bool isVoiceRecording MEMBER m_isVoiceRecording NOTIFY isVoiceRecordingChanged FINAL)
    Q_PROPERTY(bool isVoiceGuide MEMBER m_isVoiceGuide NOTIFY isVoiceGuideChanged FINAL)
    Q_PROPERTY(bool isEffectSound MEMBER m_isEffectSound NOTIFY isEffectSoundChanged FINAL)
    Q_PROPERTY(qint64 volumeIndex MEMBER m_volumeIndex NOTIFY volumeIndexChanged FINAL)
    Q_PROPERTY(qint64 eventSensitivity MEMBER m_eventSensitivity NOTIFY eventSensitivityChanged FINAL)
    Q_PROPERTY(qint64 motionSensitivity MEMBER m_motionSensitivity NOTIFY motionSensitivityChanged FINAL)
    Q_PROPERTY(bool isLdws MEMBER m_isLdws NOTIFY isLdwsChanged FINAL)
    Q_PROPERTY(bool isFvsa MEMBER m_isFvsa NOTIFY isFvsaChanged FINAL)
    Q_PROPERTY(bool isSafeDrive MEMBER m_isSafeDrive NOTIFY isSafeDriveChanged FINAL)
    Q_PROPERTY(bool isAdasAlarm MEMBER m_isAdasAlarm NOTIFY isAdasAlarmChanged FINAL)
    Q_PROPERTY(qint64 ldwsLSensitivity MEMBER m_ldwsLSensitivity NOTIFY ldwsLSensitivityChanged FINAL)
    Q_PROPERTY(qint64 ldwsRSensitivity MEMBER m_ldwsRSensitivity NOTIFY ldwsRSensitivityChanged FINAL)
    Q_PROPERTY(qint64 driveType MEMBER m_driveType NOTIFY driveTypeChanged FINAL)
    Q_PROPERTY(qint64 parkingMode MEMBER m_parkingMode NOTIFY parkingModeChanged FINAL)
    Q_PROPERTY(qint64 limitVoltIndex MEMBER m_limitVoltIndex NOTIFY limitVoltIndexChanged FINAL)
    Q_PROPERTY(qint64 lcdOffTimeIndex MEMBER m_lcdOffTimeIndex NOTIFY lcdOffTimeIndexChanged FINAL)
    Q_PROPERTY(qint64 recQuality MEMBER m_recQuality NOTIFY recQualityChanged FINAL)
    Q_PROPERTY(qint64 recTimeIndex MEMBER m_recTimeIndex NOTIFY recTimeIndexChanged FINAL)
    Q_PROPERTY(bool isTimeSyncEnabled MEMBER m_isTimeSyncEnabled NOTIFY isTimeSyncEnabledChanged FINAL)
    Q_PROPERTY(qint64 gmtIndex MEMBER m_gmtIndex NOTIFY gmtIndexChanged FINAL)
    Q_PROPERTY(QDateTime changedDate MEMBER m_changedDate NOTIFY changedDateChanged FINAL)
    Q_PROPERTY(QString syncTime MEMBER m_syncTime NOTIFY syncTimeChanged FINAL)
    Q_PROPERTY(bool isSecretMode MEMBER m_isSecretMode NOTIFY isSecretModeChanged FINAL)
    Q_PROPERTY(QString wifiSSID MEMBER m_wifiSSID NOTIFY wifiSSIDChanged FINAL)
    Q_PROPERTY(QString wifiPW MEMBER m_wifiPW NOTIFY wifiPWChanged FINAL)
    Q_PROPERTY(QString modelName MEMBER m_modelName NOTIFY modelNameChanged FINAL)
    Q_PROPERTY(QString fwVersion MEMBER m_fwVersion NOTIFY fwVersionChanged FINAL)
    Q_PROPERTY(QString safeDBversion MEMBER m_safeDBversion NOTIFY safeDBversionChanged FINAL)
    Q_PROPERTY(QString applicationName READ applicationName CONSTANT FINAL)
    Q_PROPERTY(QString applicationVersion READ applicationVersion CONSTANT FINAL)

public:
    /// The values until a file is applied; they aren't the defaults of missing keys.
    explicit SettingsViewModel(SettingsFiles files, QObject *parent = nullptr);

    [[nodiscard]] QString applicationName() const; ///< of this program
    [[nodiscard]] QString applicationVersion() const; ///< with its build number

    /// Reads both files and applies them one after the other, as far as they can be read.
    Q_INVOKABLE void loadSettings();
    /// Sets every field that has a key: a missing key takes its default over what stood there before.
    void applySettings(const SettingsDictionary &dictionary);
    /// To the factory values of bbox.ini. Neither file is read or written.
    Q_INVOKABLE void resetSettings();
    /// Replaces bbox.cfg on the card's volume, and asks for the end of the form, whether or not that worked.
    Q_INVOKABLE void saveSettings();
    /// A card came or went. From now on a save that finds another card than the one that was read fails: it
    /// would replace that card's settings by what this one's form holds.
    void cardChanged();

    /// What the form offers for a field, by option: its `id`, which is the field's value, its `title`, the
    /// `shares` of a SettingsOption, and its `gate`: the field that has to be on for it, empty for none.
    Q_INVOKABLE static QVariantList options(const QString &field);

    [[nodiscard]] const SettingsDictionary &iniData() const { return m_iniData; }
    [[nodiscard]] const SettingsDictionary &cfgData() const { return m_cfgData; }

Q_SIGNALS:
    void useLdwsChanged();
    void useFvsaChanged();
    void useSafeDriveChanged();
    void useHybridChanged();
    void useSecretModeChanged();
    void storagePriorityChanged();
    void isVoiceRecordingChanged();
    void isVoiceGuideChanged();
    void isEffectSoundChanged();
    void volumeIndexChanged();
    void eventSensitivityChanged();
    void motionSensitivityChanged();
    void isLdwsChanged();
    void isFvsaChanged();
    void isSafeDriveChanged();
    void isAdasAlarmChanged();
    void ldwsLSensitivityChanged();
    void ldwsRSensitivityChanged();
    void driveTypeChanged();
    void parkingModeChanged();
    void limitVoltIndexChanged();
    void lcdOffTimeIndexChanged();
    void recQualityChanged();
    void recTimeIndexChanged();
    void isTimeSyncEnabledChanged();
    void gmtIndexChanged();
    void changedDateChanged();
    void syncTimeChanged();
    void isSecretModeChanged();
    void wifiSSIDChanged();
    void wifiPWChanged();
    void modelNameChanged();
    void fwVersionChanged();
    void safeDBversionChanged();
    void closeRequested();

private:
    struct CardTexts {
        std::optional<QString> ini;
        std::optional<QString> cfg; ///< of the volume, else the camera's own copy
    };

    [[nodiscard]] CardTexts readCard() const;
    [[nodiscard]] bool isOnAnotherCard() const;
    void setField(const char *field, const QVariant &value);
    void fillCfgData();
    void writeCfg();

    SettingsFiles m_files;
    SettingsDictionary m_iniData;
    SettingsDictionary m_cfgData;
    CardTexts m_loaded;
    bool m_hasCardChanged = false; ///< since the form was opened

    bool m_useLdws = true;
    bool m_useFvsa = true;
    bool m_useSafeDrive = true;
    bool m_useHybrid = true;
    bool m_useSecretMode = true;
    qint64 m_storagePriority = 0;
    bool m_isVoiceRecording = true;
    bool m_isVoiceGuide = true;
    bool m_isEffectSound = true;
    qint64 m_volumeIndex = 3;
    qint64 m_eventSensitivity = 1;
    qint64 m_motionSensitivity = 1;
    bool m_isLdws = true;
    bool m_isFvsa = true;
    bool m_isSafeDrive = false;
    bool m_isAdasAlarm = true;
    qint64 m_ldwsLSensitivity = 1;
    qint64 m_ldwsRSensitivity = 1;
    qint64 m_driveType = 1;
    qint64 m_parkingMode = 1;
    qint64 m_limitVoltIndex = 2;
    qint64 m_lcdOffTimeIndex = 1;
    qint64 m_recQuality = 0;
    qint64 m_recTimeIndex = 1;
    bool m_isTimeSyncEnabled = false;
    qint64 m_gmtIndex = 0;
    QDateTime m_changedDate = QDateTime::currentDateTime(); ///< the clock value to send
    QString m_syncTime;
    bool m_isSecretMode = true;
    QString m_wifiSSID;
    QString m_wifiPW;
    QString m_modelName;
    QString m_fwVersion;
    QString m_safeDBversion;
};
