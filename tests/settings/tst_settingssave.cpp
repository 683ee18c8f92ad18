// What is left on the card when a save is interrupted at any of its steps.
#include "settingscard.h"
#include "support/logcapture.h"

#include <cerrno>
#include <cstdarg>
#include <fcntl.h>
#include <QSignalSpy>
#include <QTest>
#include <sys/wait.h>
#include <unistd.h>

namespace {

enum class Disturbance { None, Failure, PowerCut };

/// Stands between the program and the system (the linker's --wrap) while a save runs.
struct Script {
    Disturbance disturbance = Disturbance::None;
    int atStep = 0; ///< from 1
    int steps = 0; ///< so far
    QByteArrayList calls;
    bool isActive = false;

    /// True if the step is to fail. Its effect is none in both cases: a power cut after it is one before the
    /// next.
    bool disturbs(const char *call)
    {
        if (!isActive)
            return false;
        calls.append(call);
        if (++steps != atStep || disturbance == Disturbance::None)
            return false;
        if (disturbance == Disturbance::PowerCut)
            ::_exit(0);
        errno = ENOSPC;
        return true;
    }
};
Script script;

constexpr size_t mostBytesAtOnce = 64; // so that a file takes several writes

} // namespace

extern "C" {
int __real_open(const char *path, int flags, ...);
ssize_t __real_write(int fd, const void *bytes, size_t count);
int __real_fsync(int fd);
int __real_rename(const char *from, const char *to);

int __wrap_open(const char *path, int flags, ...)
{
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    return script.disturbs((flags & O_CREAT) != 0 ? "create" : "open") ? -1 : __real_open(path, flags, mode);
}
ssize_t __wrap_write(int fd, const void *bytes, size_t count)
{
    if (!script.isActive)
        return __real_write(fd, bytes, count);
    return script.disturbs("write") ? -1 : __real_write(fd, bytes, std::min(count, mostBytesAtOnce));
}
int __wrap_fsync(int fd) { return script.disturbs("fsync") ? -1 : __real_fsync(fd); }
int __wrap_rename(const char *from, const char *to)
{
    return script.disturbs("rename") ? -1 : __real_rename(from, to);
}
}

class SettingsSaveTest : public QObject
{
    Q_OBJECT

    SettingsCard m_card;
    QByteArray m_old;
    QByteArray m_new;

    [[nodiscard]] std::unique_ptr<SettingsViewModel> edited()
    {
        m_card.clear();
        m_card.putCfg(m_old);
        auto settings = m_card.load();
        settings->setProperty("wifiSSID", QStringLiteral("new"));
        return settings;
    }
    [[nodiscard]] QStringList volumeEntries() const
    {
        return QDir(m_card.volume()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_card.putCfg("[bbox]\nvolume=60\nmystery=kept\n");
        m_card.load()->saveSettings();
        m_old = m_card.savedCfg();
        m_new = QByteArray(m_old).replace("wifi_ssid_1=", "wifi_ssid_1=new");
        QVERIFY(m_old != m_new);
    }
    void cleanup() { script = {}; }

    void theNewFileIsOnTheMediumBeforeItReplacesTheOld()
    {
        const auto settings = edited();
        script.isActive = true;
        settings->saveSettings();
        script.isActive = false;
        QCOMPARE(m_card.savedCfg(), m_new);
        QVERIFY(script.calls.count("write") > 3);
        script.calls.removeAll("write");
        QCOMPARE(script.calls, QByteArrayList({"create", "fsync", "rename", "open", "fsync"}));
    }

    void aFailureAtAnyStepLeavesAWholeFile()
    {
        int step = 0;
        for (bool wasReached = true; wasReached;) {
            ++step;
            const auto settings = edited();
            QSignalSpy closing(settings.get(), &SettingsViewModel::closeRequested);
            LogCapture log;
            script = {Disturbance::Failure, step, 0, {}, true};
            settings->saveSettings();
            script.isActive = false;
            wasReached = script.steps >= step;
            const bool isReplaced =
                script.calls.contains("open"); // the folder's entry comes after the renaming
            QCOMPARE(m_card.savedCfg(), isReplaced ? m_new : m_old);
            QCOMPARE(volumeEntries(), QStringList(QStringLiteral("bbox.cfg")));
            QCOMPARE(closing.size(), 1);
            const QStringList failures = log.lines().filter(QStringLiteral("saveToSDCard failed: "));
            QCOMPARE(failures.size(), isReplaced ? 0 : 1);
        }
        QVERIFY(step > 8);
    }

    void aPowerCutAtAnyStepLeavesAWholeFile()
    {
        int newFiles = 0;
        const int steps = 16;
        for (int step = 1; step <= steps; ++step) {
            const auto settings = edited();
            script = {Disturbance::PowerCut, step, 0, {}, true};
            std::fflush(stdout);
            const pid_t child = ::fork();
            if (child == 0) {
                settings->saveSettings();
                ::_exit(0);
            }
            script = {};
            int status = 0;
            QCOMPARE(::waitpid(child, &status, 0), child);
            QCOMPARE(status, 0);
            const QByteArray left = m_card.savedCfg();
            QVERIFY2(left == m_old || left == m_new, left.constData());
            newFiles += left == m_new ? 1 : 0;
            m_card.load()->saveSettings(); // whatever lies about is no obstacle, and goes
            QCOMPARE(m_card.savedCfg(), left);
            QCOMPARE(volumeEntries(), QStringList(QStringLiteral("bbox.cfg")));
        }
        QVERIFY(newFiles > 0 && newFiles < steps);
    }

    void withoutTheCardItOnlyLogs()
    {
        const auto settings = edited();
        QSignalSpy closing(settings.get(), &SettingsViewModel::closeRequested);
        m_card.remove();
        LogCapture log;
        settings->saveSettings();
        QCOMPARE(log.lines(), QStringList(QStringLiteral("[FileExtractor] getSDCardPath failed")));
        QCOMPARE(closing.size(), 1);
        QCOMPARE(m_card.savedCfg(), m_old);
        m_card.insert();
    }
};

QTEST_GUILESS_MAIN(SettingsSaveTest)
#include "tst_settingssave.moc"
