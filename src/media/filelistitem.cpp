#include "filelistitem.h"

#include <QRegularExpression>

QString FileListItem::dateText() const
{
    // \d stands for ASCII digits only: the option UseUnicodePropertiesOption is not set.
    static const QRegularExpression pattern(QStringLiteral("_(\\d{8})_(\\d{6})"));
    const QRegularExpressionMatch match = pattern.match(name);
    if (!match.hasMatch())
        return QStringLiteral("-");
    const QString date = match.captured(1);
    const QString time = match.captured(2);
    return date.left(4) + u'/' + date.mid(4, 2) + u'/' + date.mid(6, 2) + u' ' + time.left(2) + u':'
        + time.mid(2, 2) + u':' + time.mid(4, 2);
}

QString FileListItem::kindLabel() const
{
    if (name.startsWith(u"N_"))
        return QStringLiteral("REC");
    if (name.startsWith(u"E_"))
        return QStringLiteral("EVT");
    if (name.startsWith(u"P_"))
        return QStringLiteral("PAK");
    if (name.startsWith(u"M_"))
        return QStringLiteral("MAN");
    return {};
}
