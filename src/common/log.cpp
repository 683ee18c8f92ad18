#include "log.h"

#include <cstdio>
#include <QByteArray>

namespace {

QString onOneLine(QString item)
{
    for (QChar &c : item) {
        if (c.category() == QChar::Other_Control || c == QChar::LineSeparator
            || c == QChar::ParagraphSeparator)
            c = u' ';
    }
    return item;
}

} // namespace

void logLine(std::initializer_list<QString> items)
{
    QString line = QStringLiteral("App ->");
    for (const QString &item : items)
        line += u' ' + onOneLine(item);
    line += u'\n';
    const QByteArray bytes = line.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}
