#include "text.h"

#include <algorithm>
#include <limits>

namespace {

std::optional<quint64> parseDigits(QStringView digits)
{
    if (digits.isEmpty())
        return std::nullopt;
    quint64 value = 0;
    for (const QChar c : digits) {
        if (c < u'0' || c > u'9')
            return std::nullopt;
        if (__builtin_mul_overflow(value, quint64{10}, &value)
            || __builtin_add_overflow(value, static_cast<quint64>(c.unicode() - u'0'), &value))
            return std::nullopt;
    }
    return value;
}

struct Utf8Part {
    qsizetype length = 1; ///< bytes
    std::optional<char32_t> codePoint; ///< none: ill-formed
};

/// The character, or the maximal ill-formed part, at the start of the bytes, which aren't empty.
Utf8Part firstUtf8Part(QByteArrayView bytes)
{
    const auto byteAt = [&](qsizetype i) { return static_cast<unsigned char>(bytes[i]); };
    const unsigned char lead = byteAt(0);
    if (lead < 0x80)
        return {1, lead};
    if (lead < 0xC2 || lead > 0xF4)
        return {1, std::nullopt};
    const qsizetype length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    // The second byte alone rules out overlong forms, surrogates and what lies beyond U+10FFFF.
    const unsigned char lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned char highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    auto codePoint = static_cast<char32_t>(lead & (0xFF >> (length + 1)));
    for (qsizetype i = 1; i < length; ++i) {
        const bool isExpected = i < bytes.size() && byteAt(i) >= (i == 1 ? lowest : 0x80)
            && byteAt(i) <= (i == 1 ? highest : 0xBF);
        if (!isExpected)
            return {i, std::nullopt};
        codePoint = codePoint << 6 | (byteAt(i) & 0x3F);
    }
    return {length, codePoint};
}

enum class IllFormed { Refused, Replaced };

std::optional<QString> decodeUtf8(QByteArrayView bytes, IllFormed illFormed)
{
    QString text;
    text.reserve(bytes.size());
    while (!bytes.isEmpty()) {
        const Utf8Part part = firstUtf8Part(bytes);
        if (!part.codePoint && illFormed == IllFormed::Refused)
            return std::nullopt;
        for (const char16_t unit : QChar::fromUcs4(part.codePoint.value_or(QChar::ReplacementCharacter)))
            text += QChar(unit);
        bytes = bytes.sliced(part.length);
    }
    return text;
}

bool isNewline(QChar c)
{
    return (c >= u'\n' && c <= u'\r') || c == QChar(0x85) || c == QChar::LineSeparator
        || c == QChar::ParagraphSeparator;
}

bool isBlank(QChar c) { return c == u'\t' || c.category() == QChar::Separator_Space; }

bool isPlainInShell(char32_t c)
{
    if (c < 0x80)
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
            || QStringView(u"_-.,/:@%+=").contains(QChar(static_cast<char16_t>(c)));
    return QChar::isLetterOrNumber(c) || QChar::isMark(c);
}

} // namespace

std::optional<qint64> text::parseInteger(QStringView text)
{
    const bool isNegative = text.startsWith(u'-');
    if (isNegative || text.startsWith(u'+'))
        text = text.sliced(1);
    const auto magnitude = parseDigits(text);
    constexpr auto largest = static_cast<quint64>(std::numeric_limits<qint64>::max());
    if (!magnitude || *magnitude > largest + (isNegative ? 1 : 0))
        return std::nullopt;
    return static_cast<qint64>(isNegative ? 0 - *magnitude : *magnitude);
}

std::optional<quint64> text::parseUnsigned(QStringView text) { return parseDigits(text); }

std::optional<QString> text::decodeUtf8Strictly(QByteArrayView bytes)
{
    return decodeUtf8(bytes, IllFormed::Refused);
}

QString text::decodeUtf8Repairing(QByteArrayView bytes)
{
    return decodeUtf8(bytes, IllFormed::Replaced).value_or(QString());
}

QString text::withoutByteOrderMark(QString text)
{
    if (text.startsWith(QChar::ByteOrderMark))
        text.remove(0, 1);
    return text;
}

QStringList text::splitAtNewlines(QStringView text)
{
    QStringList lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (isNewline(text[i])) {
            lines.append(text.sliced(start, i - start).toString());
            start = i + 1;
        }
    }
    lines.append(text.sliced(start).toString());
    return lines;
}

QStringView text::trimBlanks(QStringView text)
{
    while (!text.isEmpty() && isBlank(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && isBlank(text.back()))
        text.chop(1);
    return text;
}

bool text::isPlainShellWord(QStringView text)
{
    const auto codePoints = text.toUcs4();
    return !codePoints.isEmpty() && std::all_of(codePoints.begin(), codePoints.end(), isPlainInShell);
}

QString text::quotedForShell(QString text) { return text.replace(u'\'', QStringLiteral("'\\''")); }
