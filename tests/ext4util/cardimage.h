#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

struct ProgramResult {
    int exitCode = -1; ///< -1: ended by a signal, or never
    QByteArray output;
    QByteArray messages;
};

/// Runs a program to its end; `environment` holds NAME=VALUE to add.
ProgramResult runProgram(const QString &program, const QStringList &arguments,
                         const QStringList &environment = {});

/// Runs the real ext4util.
ProgramResult ext4util(const QStringList &arguments, const QStringList &environment = {});
QString ext4utilPath();

/// Bytes that look like nothing else, the same for the same seed.
QByteArray noise(qsizetype size, quint32 seed);

QByteArray fileContent(const QString &path);
void writeFile(const QString &path, const QByteArray &content);

struct CardFormat {
    QStringList options = {}; ///< for mke2fs
    int sizeMiB = 8;
    qint64 offset = 0; ///< bytes before the file system
};

/// A file system of chosen content in an image file, made without mounting it.
class CardImage
{
public:
    explicit CardImage(const QMap<QString, QByteArray> &files, const CardFormat &format = {});

    [[nodiscard]] bool isValid() const { return m_isValid; }
    [[nodiscard]] QString path() const { return m_folder.filePath(QStringLiteral("card.img")); }
    /// A path for something else beside the image.
    [[nodiscard]] QString beside(const QString &name) const { return m_folder.filePath(name); }

    /// Runs debugfs commands that may write; gives what it prints.
    QByteArray debugfs(const QStringList &commands);
    /// The block that holds block `index` of a file.
    quint64 blockOf(const QString &file, int index);
    void poke(qint64 position, const QByteArray &bytes);

    ProgramResult list(const QString &folder) const;
    /// Extracts to beside("target").
    ProgramResult read(const QString &file, const QStringList &environment = {}) const;
    [[nodiscard]] QString target() const { return beside(QStringLiteral("target")); }
    /// What names a finished or failed extraction left, hidden ones included.
    [[nodiscard]] QStringList besideNames() const;

private:
    [[nodiscard]] QString offsetText() const { return QString::number(m_format.offset); }
    QTemporaryDir m_folder;
    CardFormat m_format;
    bool m_isValid = false;
};
