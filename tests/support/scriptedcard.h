#pragma once

#include "scripteddesktop.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringBuilder>
#include <QTemporaryDir>

/// A desktop without disks and volumes, whose helper tools are shell scripts that the test steers. Its cards
/// are folders: "ext4util" takes the device path for one. All tool calls go to one log.
class ScriptedTools
{
public:
    /// Sets the user's folders to a temporary place, so it has to come before anything that asks for them.
    ScriptedTools()
    {
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_root.filePath(QStringLiteral("data"))));
        qputenv("XDG_CACHE_HOME", QFile::encodeName(m_root.filePath(QStringLiteral("cache"))));
        qputenv("SCRIPTED_CALLS", QFile::encodeName(m_root.filePath(QStringLiteral("calls"))));
        qputenv("SCRIPTED_HOLD", QFile::encodeName(m_root.filePath(QStringLiteral("hold"))));
        QDir(m_root.path()).mkpath(QStringLiteral("hold"));
        installScript(QStringLiteral("ext4util"), R"sh(#!/bin/bash
name=$1-${4##*/}
echo "$1 $4" >> "$SCRIPTED_CALLS"
while [ -e "$SCRIPTED_HOLD/$name" ]; do sleep 0.01; done
case $1 in
ls) cat "$2/$4/.listing" ;;
read)
    rm -f "$5"
    case $(head -c 99 "$2/$4") in
    card-full*) echo "ext4util: $5: No-space-left-on-device" >&2; exit 7 ;;
    unreadable-card*) echo "ext4util: $2: device-not-opened" >&2; exit 2 ;;
    esac
    cp "$2/$4" "$5"
    ;;
esac
echo "end $1 $4" >> "$SCRIPTED_CALLS"
)sh");
        // The source's text steers both: "damaged", "unreadable", "hopeless", or "no-aac" for one whose sound
        // can't be made. A repair mends "damaged" and "unreadable".
        installScript(QStringLiteral("ffmpeg"), R"sh(#!/bin/bash
target=${*: -1}
case $* in *-shortest*) step=merge ;; *-c:a*) step=convert ;; *) step=remux ;; esac
echo "$step ${2##*/} ${target##*/}" >> "$SCRIPTED_CALLS"
while [ -e "$SCRIPTED_HOLD/$step" ]; do sleep 0.01; done
case $step-$(cat "$2") in
*hopeless* | *unreadable*) echo "moov atom not found"; exit 1 ;;
remux*damaged*) echo "[h264 @ 0x5] sps_id 32 out of range" ;;
convert*no-aac*) exit 1 ;;
merge*) sed 's/^\([0-9]\) 0/\1 1/' "$2" > "$target"; exit ;;
esac
cp "$2" "$target"
)sh");
        installScript(QStringLiteral("mp4recover"), R"sh(#!/bin/bash
echo "recover ${1##*/} ${2##*/} ${*:3}" >> "$SCRIPTED_CALLS"
while [ -e "$SCRIPTED_HOLD/recover" ]; do sleep 0.01; done
case $(cat "$1") in *hopeless*) echo "mp4recover: nothing found" >&2; exit 4 ;; esac
sed 's/damaged\|unreadable/mended/; s/^\([0-9]\) ./\1 0/' "$1" > "$2"
case $(cat "$1") in ?\ 1*) cp "$1" "${2%.mp4}.mp3" ;; esac
)sh");
        desktop.diskWatcher = std::make_unique<ScriptedDiskWatcher>();
        desktop.volumeList = std::make_unique<ScriptedVolumeList>();
        desktop.consent = std::make_unique<ScriptedConsent>();
        desktop.bundledTool = [this](const QString &tool) {
            const QString path = m_root.filePath(u"tools/" % tool);
            return QFileInfo::exists(path) ? path : QString();
        };
        desktop.diskSpace = [this](const QString &) { return space; };
    }

    /// Another card; gives its device path.
    QString addCard(const QString &name)
    {
        const QString path = m_root.filePath(name);
        for (const char *folder :
             {"cfg", "mov", "mov/normal", "mov/event", "mov/park", "mov/manual", "mov/saved"})
            append(path + u'/' + QLatin1String(folder) + QStringLiteral("/.listing"), {});
        return path;
    }

    void addRecording(const QString &card, const QString &type, const QString &name,
                      const QByteArray &content)
    {
        const QString folder = card + QStringLiteral("/mov/") + type;
        append(folder + u'/' + name, content);
        append(folder + QStringLiteral("/.listing"),
               "12 " + name.toUtf8() + ' ' + QByteArray::number(content.size()) + '\n');
    }

    /// Makes a tool wait at its start, for example "read-N_20240309_170559.mp4", "ls-normal" or "remux".
    void hold(const QString &call) { append(m_root.filePath(u"hold/" % call), {}); }
    void release(const QString &call) { QFile::remove(m_root.filePath(u"hold/" % call)); }
    void releaseAll()
    {
        for (const QString &call : QDir(m_root.filePath(QStringLiteral("hold"))).entryList(QDir::Files))
            release(call);
    }

    /// What the tools were asked since the last clearCalls(), such as "read mov/normal/x.mp4" (and "end read
    /// mov/normal/x.mp4") or "remux x.mp4 temp.mp4".
    [[nodiscard]] QStringList calls() const
    {
        QFile file(m_root.filePath(QStringLiteral("calls")));
        if (!file.open(QIODevice::ReadOnly))
            return {};
        return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    }
    void clearCalls() { QFile::remove(m_root.filePath(QStringLiteral("calls"))); }

    [[nodiscard]] QString path(const QString &name) const { return m_root.filePath(name); }

    Desktop desktop;
    DiskSpace space{100'000'000'000, 100'000'000'000};

private:
    static void append(const QString &path, const QByteArray &bytes)
    {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        if (!file.open(QIODevice::Append) || file.write(bytes) != bytes.size())
            qFatal("can't write %s", qPrintable(path));
    }

    void installScript(const QString &tool, const QByteArray &script)
    {
        const QString path = m_root.filePath(u"tools/" % tool);
        append(path, script);
        QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner);
    }

    QTemporaryDir m_root;
};
