#pragma once

#include "failure.h"

#include <cstdint>
#include <QDateTime>
#include <QIODevice>

struct struct_ext2_filsys;

/// Fills an ext4 file system inside an image, entry by entry in the caller's order, so that the same entries
/// give the same bytes whoever runs it and wherever. Everything belongs to root, as on a camera.
class Ext4Writer
{
public:
    Ext4Writer() = default;
    ~Ext4Writer();
    Ext4Writer(const Ext4Writer &) = delete;
    Ext4Writer &operator=(const Ext4Writer &) = delete;

    /// offset: of the file system in the image, in bytes. made: what the file system says of its own age.
    [[nodiscard]] Failure open(const QString &image, qint64 offset, const QDateTime &made);
    /// The folders above have to be there.
    [[nodiscard]] Failure makeFolder(const QString &path);
    /// A new file with all that `source` gives; time is the file's.
    [[nodiscard]] Failure addFile(const QString &path, QIODevice &source, const QDateTime &time);
    [[nodiscard]] Failure close();

private:
    [[nodiscard]] std::int64_t findFolder(const QByteArray &path, std::uint32_t &folder) const;
    [[nodiscard]] std::int64_t link(std::uint32_t folder, const QByteArray &name, std::uint32_t inode);
    [[nodiscard]] Failure fillFile(const QString &path, std::uint32_t inode, QIODevice &source);

    struct_ext2_filsys *m_system = nullptr;
};
