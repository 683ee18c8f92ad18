#pragma once

#include <optional>
#include <QCoreApplication>
#include <QObject>
#include <QQmlEngine>
#include <QString>

/// What the overlay depends on.
struct OverlayConditions {
    bool isInitialized = false; ///< the tools are ready
    bool isAlerting = false; ///< a modal alert is up
    bool hasCard = false;
    std::optional<QString> alertMessage; ///< to be acknowledged
    std::optional<QString> procMessage; ///< progress of a selection
    std::optional<QString> downloadMessage; ///< none: no download; empty: finished; else its progress
};

/// The one message that stands over the window, or nothing.
struct Overlay {
    Q_GADGET
    QML_ANONYMOUS
    Q_DECLARE_TR_FUNCTIONS(Overlay)
    Q_PROPERTY(bool isVisible MEMBER isVisible FINAL)
    Q_PROPERTY(QString title MEMBER title FINAL)
    Q_PROPERTY(QString message MEMBER message FINAL)
    Q_PROPERTY(QString button MEMBER button FINAL)

public:
    enum class Action { None, DismissAlert, DismissDownload };

    bool isVisible = false;
    QString title;
    QString message;
    QString button; ///< its label; empty for no button
    Action action = Action::None; ///< of the button

    [[nodiscard]] static Overlay of(const OverlayConditions &conditions);
    bool operator==(const Overlay &) const = default;
};
