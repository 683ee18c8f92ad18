#pragma once

#include <QString>
#include <QStringList>

/// What the tools print, read by pure functions that take any text.
namespace tooloutput {

/// The listing of a folder: of each line with three or more words, the second as name or, with sizes, the
/// second and third joined by ",". The entries "." and ".." are left out. Order and all other names are the
/// tool's, messages included.
[[nodiscard]] QStringList parseListing(QStringView output, bool withSize);

/// The distinct messages about broken H.264 parameter sets in what ffmpeg printed, in ascending order, one
/// per line. Empty for a sound recording.
[[nodiscard]] QString damageReport(QStringView output);

/// What mp4recover told apart from its progress, line by line: frames found and lost for each channel, or why
/// there are none. Bounded, whatever was printed.
[[nodiscard]] QStringList repairReport(QStringView output);
/// Whether it tells of lost frames in any channel.
[[nodiscard]] bool areFramesLost(const QStringList &repairReport);

/// A recording as one entry of a listing with sizes tells it. The name ends at the first ",".
struct ListedFile {
    QString name;
    quint64 size = 0; ///< bytes; 0 if that wasn't a number
};
[[nodiscard]] ListedFile parseSizedEntry(const QString &entry);

/// Whether a name from a card can be put on a command line and names something directly in its folder.
[[nodiscard]] bool isUsableName(QStringView name);

} // namespace tooloutput
