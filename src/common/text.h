#pragma once

#include <optional>
#include <QByteArrayView>
#include <QString>
#include <QStringList>
#include <QStringView>

/// Text rules of the card's formats. Qt's own conveniences differ in details that matter for foreign input:
/// they trim before they parse, repair bytes silently, and know other sets of blanks and line ends.
namespace text {

/// As a whole an optional sign and at least one ASCII digit, within 64 bits; else none.
[[nodiscard]] std::optional<qint64> parseInteger(QStringView text);
/// As a whole at least one ASCII digit, without a sign, within 64 bits; else none.
[[nodiscard]] std::optional<quint64> parseUnsigned(QStringView text);

/// None unless all of the bytes are well-formed UTF-8. A leading byte order mark stays.
[[nodiscard]] std::optional<QString> decodeUtf8Strictly(QByteArrayView bytes);
/// Each maximal ill-formed part becomes one U+FFFD, so a character that was cut off counts once.
[[nodiscard]] QString decodeUtf8Repairing(QByteArrayView bytes);
/// Without the byte order mark that some editors put before a text file's first character.
[[nodiscard]] QString withoutByteOrderMark(QString text);

/// LF, VT, FF, CR, NEL, LS and PS each end a line by themselves, so CR LF gives an empty line in between.
[[nodiscard]] QStringList splitAtNewlines(QStringView text);
/// Without the blanks (TAB and the Unicode category of spaces, Zs) on both sides.
[[nodiscard]] QStringView trimBlanks(QStringView text);

/// Whether a shell takes the text for exactly one word that means itself: letters and digits of any script
/// and _ - . , / : @ % + = only.
[[nodiscard]] bool isPlainShellWord(QStringView text);
/// For use between single quotes on a shell's line: ' becomes '\''.
[[nodiscard]] QString quotedForShell(QString text);

} // namespace text
