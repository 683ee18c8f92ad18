#pragma once

#include "card/processmanager.h"
#include "card/processvalues.h"
#include "settings/settingsviewmodel.h"
#include "support/privatehome.h"
#include "support/scripteddesktop.h"

#include <memory>

/// A card whose settings have been read: folders stand for its volume and for the copy of its "cfg".
class SettingsCard
{
public:
    SettingsCard() { insert(); }

    void insert()
    {
        m_desktop.volumes->mounted = {{QStringLiteral("NO NAME"), volume(), QString()}};
        clear();
    }
    void remove() { m_desktop.volumes->mounted.clear(); }
    void clear()
    {
        for (const QString &folder : {volume(), cameraFolder()}) {
            QDir(folder).removeRecursively();
            QDir().mkpath(folder);
        }
    }
    void putIni(const QByteArray &text) { writeFile(cameraFolder() + QStringLiteral("/bbox.ini"), text); }
    void putCfg(const QByteArray &text) { writeFile(cfgPath(), text); }
    void putCameraCfg(const QByteArray &text)
    {
        writeFile(cameraFolder() + QStringLiteral("/bbox.cfg"), text);
    }
    [[nodiscard]] QByteArray savedCfg() const { return contentsOf(cfgPath()); }
    [[nodiscard]] QString cfgPath() const { return volume() + QStringLiteral("/bbox.cfg"); }
    [[nodiscard]] QString volume() const { return m_folder.filePath(QStringLiteral("volume")); }

    [[nodiscard]] SettingsFiles files()
    {
        return {[this](const QString &name) { return m_manager.readConfig(name); },
                [this](const QString &name) { return m_manager.readSDCard(name); },
                [this](const QString &name, const QString &text) { m_manager.saveToSDCard(name, text); }};
    }
    /// Loaded with what is on the card.
    [[nodiscard]] std::unique_ptr<SettingsViewModel> load()
    {
        auto settings = std::make_unique<SettingsViewModel>(files());
        settings->loadSettings();
        return settings;
    }

private:
    [[nodiscard]] static QString cameraFolder() { return processvalues::tempRoot() + QStringLiteral("cfg"); }

    PrivateHome m_home;
    QTemporaryDir m_folder;
    ScriptedDesktop m_desktop;
    ProcessManager m_manager{m_desktop.desktop};
};
