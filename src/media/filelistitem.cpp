#include "filelistitem.h"

#include <array>
#include <QRegularExpression>
#include <QStringBuilder>

namespace {

struct RecordingKind {
    QStringView prefix;
    QStringView label;
    FileListItem::KindColor color;
};

constexpr std::array kinds{
    RecordingKind{u"N_", u"REC", FileListItem::KindColor::PrimaryText},
    RecordingKind{u"E_", u"EVT", FileListItem::KindColor::Red},
    RecordingKind{u"P_", u"PAK", FileListItem::KindColor::Green},
    RecordingKind{u"M_", u"MAN", FileListItem::KindColor::Yellow},
};
constexpr RecordingKind unknownKind{u"", u"", FileListItem::KindColor::PrimaryText};

const RecordingKind &kindOf(QStringView name)
{
    for (const RecordingKind &kind : kinds) {
        if (name.startsWith(kind.prefix))
            return kind;
    }
    return unknownKind;
}

} // namespace

QString FileListItem::dateText() const
{
    // \d stands for ASCII digits only: the option UseUnicodePropertiesOption is not set.
    static const QRegularExpression pattern(QStringLiteral("_(\\d{8})_(\\d{6})"));
    const QRegularExpressionMatch match = pattern.match(name);
    if (!match.hasMatch())
        return QStringLiteral("-");
    const QStringView date = match.capturedView(1);
    const QStringView time = match.capturedView(2);
    return date.left(4) % u'/' % date.mid(4, 2) % u'/' % date.mid(6, 2) % u' ' % time.left(2) % u':'
        % time.mid(2, 2) % u':' % time.mid(4, 2);
}

QString FileListItem::kindLabel() const { return kindOf(name).label.toString(); }

FileListItem::KindColor FileListItem::kindColor() const { return kindOf(name).color; }

QString FileListItem::cardPath() const { return QStringLiteral("mov/") % type % u'/' % name; }
