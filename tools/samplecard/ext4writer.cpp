#include "ext4writer.h"

#include <array>
#include <memory>
#include <sys/stat.h>

extern "C" {
#include <et/com_err.h>
#include <ext2fs/ext2fs.h>
}

namespace {

Failure failure(const QString &what, errcode_t code)
{
    const QString hint = code == EXT2_ET_BLOCK_ALLOC_FAIL || code == EXT2_ET_INODE_ALLOC_FAIL
        ? QStringLiteral(" (is the card too small for its recordings?)")
        : QString();
    return QStringLiteral("cannot write %1: %2%3").arg(what, QString::fromUtf8(error_message(code)), hint);
}

QByteArray folderOf(const QByteArray &path)
{
    return path.left(std::max(path.lastIndexOf('/'), qsizetype{0}));
}
QByteArray nameOf(const QByteArray &path) { return path.mid(path.lastIndexOf('/') + 1); }

void setTimes(ext2_inode &inode, std::uint32_t seconds)
{
    inode.i_atime = seconds;
    inode.i_ctime = seconds;
    inode.i_mtime = seconds;
}

} // namespace

Ext4Writer::~Ext4Writer()
{
    if (m_system)
        ext2fs_free(m_system);
}

Failure Ext4Writer::open(const QString &image, qint64 offset, const QDateTime &made)
{
    const QByteArray options = "offset=" + QByteArray::number(offset);
    errcode_t code = ext2fs_open2(image.toLocal8Bit().constData(), options.constData(),
                                  EXT2_FLAG_RW | EXT2_FLAG_64BITS, 0, 0, unix_io_manager, &m_system);
    if (code == 0) {
        m_system->now = made.toSecsSinceEpoch();
        code = ext2fs_read_bitmaps(m_system);
    }
    return code ? failure(image, code) : Failure{};
}

std::int64_t Ext4Writer::findFolder(const QByteArray &path, std::uint32_t &folder) const
{
    folder = EXT2_ROOT_INO;
    return path.isEmpty() ? 0
                          : ext2fs_namei(m_system, EXT2_ROOT_INO, EXT2_ROOT_INO, path.constData(), &folder);
}

Failure Ext4Writer::makeFolder(const QString &path)
{
    const QByteArray bytes = path.toUtf8();
    ext2_ino_t parent = 0;
    errcode_t code = findFolder(folderOf(bytes), parent);
    if (code == 0)
        code = ext2fs_mkdir(m_system, parent, 0, nameOf(bytes).constData());
    return code ? failure(path, code) : Failure{};
}

std::int64_t Ext4Writer::link(std::uint32_t folder, const QByteArray &name, std::uint32_t inode)
{
    errcode_t code = ext2fs_link(m_system, folder, name.constData(), inode, EXT2_FT_REG_FILE);
    if (code == EXT2_ET_DIR_NO_SPACE) {
        code = ext2fs_expand_dir(m_system, folder);
        if (code == 0)
            code = ext2fs_link(m_system, folder, name.constData(), inode, EXT2_FT_REG_FILE);
    }
    return code;
}

Failure Ext4Writer::addFile(const QString &path, QIODevice &source, const QDateTime &time)
{
    const QByteArray bytes = path.toUtf8();
    ext2_ino_t folder = 0;
    ext2_ino_t number = 0;
    errcode_t code = findFolder(folderOf(bytes), folder);
    if (code == 0)
        code = ext2fs_new_inode(m_system, folder, S_IFREG, nullptr, &number);
    if (code == 0)
        code = link(folder, nameOf(bytes), number);
    if (code)
        return failure(path, code);
    ext2fs_inode_alloc_stats2(m_system, number, +1, 0);

    ext2_inode inode{};
    inode.i_mode = S_IFREG | 0644;
    inode.i_links_count = 1;
    inode.i_flags = EXT4_EXTENTS_FL;
    setTimes(inode, static_cast<std::uint32_t>(time.toSecsSinceEpoch()));
    ext2_extent_handle_t extents = nullptr;
    code =
        ext2fs_extent_open2(m_system, number, &inode, &extents); // writes an empty extent tree into the inode
    ext2fs_extent_free(extents);
    if (code == 0)
        code = ext2fs_write_new_inode(m_system, number, &inode);
    return code ? failure(path, code) : fillFile(path, number, source);
}

Failure Ext4Writer::fillFile(const QString &path, std::uint32_t inode, QIODevice &source)
{
    ext2_file_t file = nullptr;
    errcode_t code = ext2fs_file_open(m_system, inode, EXT2_FILE_WRITE, &file);
    QByteArray piece;
    while (code == 0 && !(piece = source.read(1 << 20)).isEmpty()) {
        unsigned written = 0;
        code = ext2fs_file_write(file, piece.constData(), static_cast<unsigned>(piece.size()), &written);
        if (code == 0 && written != piece.size())
            code = EXT2_ET_SHORT_WRITE;
    }
    if (file)
        if (const errcode_t closing = ext2fs_file_close(file); closing && code == 0)
            code = closing;
    if (code)
        return failure(path, code);
    return source.atEnd() ? Failure{} : QStringLiteral("cannot read %1: %2").arg(path, source.errorString());
}

Failure Ext4Writer::close()
{
    const errcode_t code = ext2fs_close_free(&m_system);
    return code ? failure(QStringLiteral("the card's ext4 side"), code) : Failure{};
}
