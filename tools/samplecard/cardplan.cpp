#include "cardplan.h"

#include "dice.h"

#include <algorithm>
#include <array>

namespace {

constexpr int koreaOffset = 9 * 3600; // seconds east of UTC

struct Kind {
    const char *folder;
    const char *prefix;
    DriveKind drive;
};
constexpr Kind normal{"normal", "N", DriveKind::Driving};
constexpr Kind event{"event", "E", DriveKind::Impact};
constexpr Kind park{"park", "P", DriveKind::Parked};
constexpr Kind manual{"manual", "M", DriveKind::Driving};
constexpr Kind keptEvent{"saved", "E", DriveKind::Impact};
constexpr Kind keptNormal{"saved", "N", DriveKind::Driving};

/// From the newest recording backwards, repeated: each folder is served within the first five.
constexpr std::array kinds{normal, event, park,   manual, keptEvent, normal,
                           normal, event, normal, park,   normal,    keptNormal};

QDateTime firstMorning()
{
    return QDateTime(QDate(2024, 3, 9), QTime(8, 5, 59), Qt::OffsetFromUTC, koreaOffset);
}

/// The recordings of a day lie between its morning and its evening, at uneven times.
QDateTime startOf(int index, const Options &options, Dice &dice)
{
    constexpr int drivingSeconds = 11 * 3600;
    const int perDay = std::max(1, (options.count + options.days - 1) / options.days);
    const int slot = std::max(drivingSeconds / perDay, options.seconds + 1);
    const int spare = std::max(slot - options.seconds, 1);
    return firstMorning().addDays(index / perDay).addSecs(qint64{index % perDay} * slot + dice.below(spare));
}

QByteArray settingLines(const QList<std::pair<const char *, QByteArray>> &entries)
{
    QByteArray text = "[bbox]\n";
    for (const auto &[key, value] : entries)
        text += QByteArray(key) + '=' + value + '\n';
    return text;
}

/// What this camera model can do, and its factory values.
QByteArray factorySettings(const Options &options)
{
    QList<std::pair<const char *, QByteArray>> entries{{"model", "SC-5CH"},
                                                       {"version", "1.04.02"},
                                                       {"safe_db_ver", "240301"},
                                                       {"use_ldws", "1"},
                                                       {"use_fvsa", "1"},
                                                       {"use_safe_drive", "1"},
                                                       {"use_hybrid", "1"},
                                                       {"use_secret", "1"},
                                                       {"mem_type", "0"},
                                                       {"mic", "1"},
                                                       {"voice_alarm", "1"},
                                                       {"audio_effect", "1"},
                                                       {"volume", "100"},
                                                       {"event_sens", "1"},
                                                       {"motion_sens", "1"},
                                                       {"ldws", "1"},
                                                       {"fvsa", "1"},
                                                       {"safe_drive", "0"},
                                                       {"adas_alarm", "1"},
                                                       {"ldws_l", "1"},
                                                       {"ldws_r", "1"},
                                                       {"drive_type", "0"},
                                                       {"parking_mode", "1"},
                                                       {"limit_volt", "12000"},
                                                       {"lcd_offtime", "60"},
                                                       {"rec_qual", "0"},
                                                       {"rec_time", "2"},
                                                       {"gmt", "9"},
                                                       {"secret_mode", "0"},
                                                       {"wifi_ssid_1", "SC-5CH_0309"},
                                                       {"wifi_sspw_1", "12345678"}};
    static constexpr std::array keys{"ch1_resol", "ch2_resol", "ch3_resol", "ch4_resol", "ch5_resol"};
    const int channels = *std::max_element(options.channels.begin(), options.channels.end());
    for (int i = 0; i < 5; ++i) // 2 is full high definition, 1 is 1280x720, 0 is no camera
        entries.emplaceBack(keys[static_cast<std::size_t>(i)], i >= channels ? "0" : i == 0 ? "2" : "1");
    return settingLines(entries);
}

/// What the driver chose.
QByteArray userSettings()
{
    return settingLines({{"model", "SC-5CH"},
                         {"version", "1.04.02"},
                         {"safe_db_ver", "240301"},
                         {"pc_edit", "0"},
                         {"mem_type", "1"},
                         {"mic", "1"},
                         {"voice_alarm", "1"},
                         {"audio_effect", "0"},
                         {"volume", "60"},
                         {"event_sens", "2"},
                         {"motion_sens", "1"},
                         {"ldws", "1"},
                         {"fvsa", "1"},
                         {"safe_drive", "0"},
                         {"adas_alarm", "1"},
                         {"ldws_l", "2"},
                         {"ldws_r", "2"},
                         {"drive_type", "0"},
                         {"parking_mode", "1"},
                         {"limit_volt", "12200"},
                         {"lcd_offtime", "180"},
                         {"rec_qual", "1"},
                         {"rec_time", "3"},
                         {"gmt", "9"},
                         {"sync_time", "0000,00,00,00,00,00"},
                         {"secret_mode", "0"},
                         {"wifi_ssid_1", "SC-5CH_0309"},
                         {"wifi_sspw_1", "12345678"}});
}

} // namespace

RecordingPlan singleRecording(const Options &options)
{
    RecordingPlan plan;
    plan.start = QDateTime(QDate(2024, 3, 9), QTime(17, 5, 59), Qt::OffsetFromUTC, koreaOffset);
    plan.pictures = options.pictures(options.channels.first());
    plan.fps = options.fps;
    plan.seconds = options.seconds;
    plan.seed = options.seed;
    plan.hasSound = options.hasSound;
    return plan;
}

QList<CardRecording> planRecordings(const Options &options)
{
    Dice dice(options.seed);
    QList<CardRecording> recordings;
    for (int index = 0; index < options.count; ++index) {
        const int age = options.count - 1 - index; // 0 is the newest
        const Kind &kind = kinds[static_cast<std::size_t>(age) % kinds.size()];
        const auto turn = options.channels.size() - 1 - age % options.channels.size();

        CardRecording recording{{}, singleRecording(options)};
        RecordingPlan &plan = recording.plan;
        plan.drive = kind.drive;
        plan.start = startOf(index, options, dice);
        plan.pictures = options.pictures(options.channels[turn]);
        plan.seed = options.seed * 1000003U + static_cast<std::uint32_t>(index);
        // Those that went wrong are the newest but one and further back, so that the newest always plays.
        if (age >= 1 && age <= options.unfinished)
            plan.ending = Ending::PowerCut;
        else if (age > options.unfinished && age <= options.unfinished + options.damagedSets)
            plan.ending = age % 2 == 0 ? Ending::FirstSetsDamaged : Ending::AllSetsDamaged;
        recording.path =
            QStringLiteral("mov/%1/%2_%3.%4")
                .arg(QLatin1String(kind.folder), QLatin1String(kind.prefix),
                     plan.start.toString(u"yyyyMMdd_HHmmss"),
                     plan.ending == Ending::PowerCut ? QStringLiteral("mov") : QStringLiteral("mp4"));
        recordings.append(recording);
    }
    return recordings;
}

QList<CardText> planTexts(const Options &options, const QList<CardRecording> &recordings)
{
    QList<CardText> texts{{QStringLiteral("cfg/bbox.ini"), factorySettings(options)},
                          {QStringLiteral("cfg/bbox.cfg"), userSettings()},
                          {QStringLiteral("cfg/cfg_backup"), userSettings()}};
    for (const char *folder : {"normal", "event", "park", "manual", "saved"}) {
        const QString prefix = QStringLiteral("mov/%1/").arg(QLatin1String(folder));
        QByteArray names;
        for (const CardRecording &recording : recordings)
            if (recording.path.startsWith(prefix))
                names += recording.path.mid(prefix.size()).toLatin1() + '\n';
        texts.append({QStringLiteral("mov/flist_%1.txt").arg(QLatin1String(folder)), names});
    }
    return texts;
}
