#include "windowprobe.h"

#include <QTest>

namespace {

template <typename Take> void walk(QQuickItem *item, Take take)
{
    if (!item->isVisible())
        return;
    take(item);
    for (QQuickItem *child : item->childItems())
        walk(child, take);
}

QAccessible::Role roleOf(QQuickItem *item)
{
    QAccessibleInterface *interface = QAccessible::queryAccessibleInterface(item);
    return interface ? interface->role() : QAccessible::NoRole;
}

QString textOf(QQuickItem *item, QAccessible::Text text)
{
    QAccessibleInterface *interface = QAccessible::queryAccessibleInterface(item);
    return interface ? interface->text(text) : QString();
}

} // namespace

QList<QQuickItem *> WindowProbe::all(QAccessible::Role role, QQuickItem *inside) const
{
    QList<QQuickItem *> found;
    walk(inside ? inside : m_window.contentItem(), [&](QQuickItem *item) {
        if (roleOf(item) == role)
            found.append(item);
    });
    return found;
}

QQuickItem *WindowProbe::find(QAccessible::Role role, const QString &name, QQuickItem *inside) const
{
    for (QQuickItem *item : all(role, inside)) {
        if (nameOf(item) == name)
            return item;
    }
    return nullptr;
}

QString WindowProbe::nameOf(QQuickItem *item) { return textOf(item, QAccessible::Name); }

QString WindowProbe::descriptionOf(QQuickItem *item) { return textOf(item, QAccessible::Description); }

QAccessible::State WindowProbe::stateOf(QQuickItem *item)
{
    QAccessibleInterface *interface = QAccessible::queryAccessibleInterface(item);
    return interface ? interface->state() : QAccessible::State();
}

QStringList WindowProbe::controlsWithoutName() const
{
    QStringList nameless;
    walk(m_window.contentItem(), [&](QQuickItem *item) {
        const QAccessible::Role role = roleOf(item);
        const bool isControl = role == QAccessible::Button || role == QAccessible::CheckBox
            || role == QAccessible::PageTab || role == QAccessible::Slider || role == QAccessible::ListItem
            || role == QAccessible::List || (role == QAccessible::NoRole && item->activeFocusOnTab());
        if (isControl && nameOf(item).isEmpty())
            nameless.append(QString::fromLatin1(item->metaObject()->className()));
    });
    return nameless;
}

void WindowProbe::clickAt(QQuickItem *item, QPointF place) const
{
    QTest::mouseClick(&m_window, Qt::LeftButton, {}, item->mapToScene(place).toPoint());
}

void WindowProbe::press(Qt::Key key) const { QTest::keyClick(&m_window, key); }

QRectF WindowProbe::areaOf(QQuickItem *item) const
{
    const QRectF area = item->mapRectToScene(QRectF(0, 0, item->width(), item->height()));
    const qreal ratio = m_window.effectiveDevicePixelRatio();
    return {area.topLeft() * ratio, area.size() * ratio};
}

QList<QQuickItem *> WindowProbe::itemsOfType(const char *className) const
{
    QList<QQuickItem *> found;
    walk(m_window.contentItem(), [&](QQuickItem *item) {
        if (item->inherits(className))
            found.append(item);
    });
    return found;
}
