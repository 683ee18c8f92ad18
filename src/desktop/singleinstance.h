#pragma once

#include <QObject>
#include <QStringList>

/// One program for each session of the desktop. The first start owns a name on the session bus; a later one
/// has it come forward, and hands over what it was to show. Without a bus each start is the first. Needs an
/// application object; main thread.
class SingleInstance : public QObject
{
    Q_OBJECT
public:
    enum class Start { First, HandedOver };
    enum class Content {
        Files,
        Card
    }; ///< what a path stands for: a file of the user's, or an image of a card

    explicit SingleInstance(QObject *parent = nullptr);
    ~SingleInstance() override;

    /// Paths are absolute. Blocks for some seconds if the other program doesn't answer; then this is a first
    /// start, without the name.
    [[nodiscard]] Start start(const QStringList &paths, Content content);
    /// Called before the program ends: later starts are on their own.
    void end();

Q_SIGNALS:
    void activated(); ///< by another start, before what it hands over
    void opened(const QStringList &paths, SingleInstance::Content content);

private:
    bool takeName();

    bool m_hasName = false;
};
