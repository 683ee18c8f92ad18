#pragma once

#include <QAccessible>
#include <QImage>
#include <QQuickItem>
#include <QQuickWindow>
#include <QString>

/// Uses a window as a person or a screen reader does: finds things by role and name, clicks, types, looks.
class WindowProbe
{
public:
    explicit WindowProbe(QQuickWindow &window)
        : m_window(window)
    {
    }

    /// The first visible thing of this role and accessible name, in the whole window or inside one item; null
    /// if there is none.
    [[nodiscard]] QQuickItem *find(QAccessible::Role role, const QString &name,
                                   QQuickItem *inside = nullptr) const;
    [[nodiscard]] QList<QQuickItem *> all(QAccessible::Role role, QQuickItem *inside = nullptr) const;
    [[nodiscard]] static QString nameOf(QQuickItem *item);
    [[nodiscard]] static QString descriptionOf(QQuickItem *item);
    [[nodiscard]] static QAccessible::State stateOf(QQuickItem *item);
    /// Visible things with a role that a person acts on, but without a name.
    [[nodiscard]] QStringList controlsWithoutName() const;

    void click(QQuickItem *item) const { clickAt(item, {item->width() / 2, item->height() / 2}); }
    void clickAt(QQuickItem *item, QPointF place) const;
    void press(Qt::Key key) const;

    [[nodiscard]] QImage grab() const { return m_window.grabWindow(); }
    /// Where an item lies in a grabbed picture.
    [[nodiscard]] QRectF areaOf(QQuickItem *item) const;
    [[nodiscard]] QList<QQuickItem *> itemsOfType(const char *className) const; ///< visible, in tree order

private:
    QQuickWindow &m_window;
};
