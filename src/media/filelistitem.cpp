#include "filelistitem.h"

#include <QStringBuilder>

QString FileListItem::dateText() const
{
    const auto found = timeInName(name);
    if (!found)
        return QStringLiteral("-");
    const auto &[date, time] = *found;
    return date.left(4) % u'/' % date.mid(4, 2) % u'/' % date.mid(6, 2) % u' ' % time.left(2) % u':'
        % time.mid(2, 2) % u':' % time.mid(4, 2);
}

QString FileListItem::kindLabel() const
{
    switch (kind()) {
    case Kind::Continuous: return QStringLiteral("REC");
    case Kind::Event: return QStringLiteral("EVT");
    case Kind::Parking: return QStringLiteral("PAK");
    case Kind::Manual: return QStringLiteral("MAN");
    case Kind::Other: break;
    }
    return {};
}

FileListItem::KindColor FileListItem::kindColor() const
{
    switch (kind()) {
    case Kind::Event: return KindColor::Red;
    case Kind::Parking: return KindColor::Green;
    case Kind::Manual: return KindColor::Yellow;
    case Kind::Continuous:
    case Kind::Other: break;
    }
    return KindColor::PrimaryText;
}
