#include "settingsfiles.h"

#include "card/processmanager.h"

SettingsFiles settingsFilesOf(ProcessManager &manager)
{
    return {[&manager](const QString &name) { return manager.readConfig(name); },
            [&manager](const QString &name) { return manager.readSDCard(name); },
            [&manager](const QString &name, const QString &text) { manager.saveToSDCard(name, text); }};
}
