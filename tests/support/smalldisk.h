#pragma once

#include <QFile>
#include <QString>
#include <sys/mount.h>

/// A disk with little room in the place of a folder. Mounting one needs the right to, which not every machine
/// gives its tests.
class SmallDisk
{
public:
    static constexpr int size = 102'400; // bytes

    explicit SmallDisk(const QString &folder)
        : m_folder(QFile::encodeName(folder))
        , m_isMounted(::mount("none", m_folder.constData(), "tmpfs", 0, "size=102400") == 0)
    {
    }
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;
    ~SmallDisk()
    {
        if (m_isMounted)
            ::umount2(m_folder.constData(), MNT_DETACH);
    }
    [[nodiscard]] bool isMounted() const { return m_isMounted; }

private:
    QByteArray m_folder;
    bool m_isMounted;
};
