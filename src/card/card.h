#pragma once

#include <memory>
#include <optional>
#include <QString>
#include <stop_token>

/// How much of a card could be listed.
struct CardState {
    enum class Reading {
        None, ///< nothing was tried yet
        Complete,
        Partial, ///< some of it is missing: `reason`
        Failed, ///< all of it
    };
    Reading reading = Reading::None;
    QString reason; ///< in the words of the tool, with the folder
    int hiddenEntries = 0; ///< recordings whose names can't be told on a tool's command line

    bool operator==(const CardState &) const = default;
};

/// A card from its coming to its going. Who works on one keeps it, and looks after each wait whether it is
/// still in. Main thread.
class Card
{
public:
    Card(QString device, QString mirrorFolder)
        : m_device(std::move(device))
        , m_mirrorFolder(std::move(mirrorFolder))
    {
    }

    /// The raw device that the camera's file system is read from, such as /dev/sdb.
    [[nodiscard]] const QString &device() const { return m_device; }
    /// Where its files are extracted to, with a trailing "/".
    [[nodiscard]] const QString &mirrorFolder() const { return m_mirrorFolder; }

    [[nodiscard]] bool isIn() const { return !m_going.stop_requested(); }
    /// Ends what works on the card.
    [[nodiscard]] std::stop_token going() const { return m_going.get_token(); }
    void remove() { m_going.request_stop(); }

    /// Number of channels that the camera records with; none until the card told it.
    std::optional<int> channelCount;
    CardState state;

private:
    QString m_device;
    QString m_mirrorFolder;
    std::stop_source m_going;
};

using CardPtr = std::shared_ptr<Card>;
