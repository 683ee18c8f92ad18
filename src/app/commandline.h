#pragma once

#include <optional>
#include <QCoreApplication>
#include <QString>
#include <QStringList>

/// What the user asked for on the command line.
struct CommandLine {
    Q_DECLARE_TR_FUNCTIONS(CommandLine)
public:
    enum class Request { Run, ShowText, Refuse };

    Request request = Request::Run;
    QString text; ///< to print on standard output (ShowText) or standard error (Refuse), with its line end
    std::optional<QString> cardImage; ///< a card image in place of the card reader
    std::optional<QString> volumeFolder; ///< stands for the card's mounted FAT volume

    /// arguments begins with the program's name. Looks whether the files are there. Works without an
    /// application object.
    [[nodiscard]] static CommandLine parse(const QStringList &arguments);
};
