#pragma once

#include <QCoroTask>
#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>

struct Desktop;

/// The program's own copies of the helper tools in a folder of the user's, of which ext4util is to have
/// root's rights for reading cards. What was installed is noted beside the copies, by its SHA-256. Main
/// thread.
class ToolSet : public QObject
{
    Q_OBJECT
public:
    explicit ToolSet(Desktop &desktop, QObject *parent = nullptr);

    /// With a trailing "/". Empty before setUp().
    [[nodiscard]] const QString &folder() const { return m_folder; }

    /// Installs what is missing, has another size than what came with the program, or isn't what was
    /// installed from there; then has ext4util authorised, unless the desktop needs no rights. True if it can
    /// read a card. The folder exists.
    QCoro::Task<bool> setUp(QString folder);
    /// Whether the copy of the tool belongs to root and has the set-user-ID bit.
    [[nodiscard]] bool checkPrivilege(const QString &tool) const;
    QCoro::Task<bool> authorize(QString tool);

    using Checksums = QHash<QString, QByteArray>; ///< of the tools, by name

private:
    QCoro::Task<> installAll(QStringList tools);
    QCoro::Task<> install(QString tool);
    void warnIfBitIsVoid(const QString &tool) const;

    Desktop &m_desktop;
    QString m_folder;
    Checksums m_installed;
};
