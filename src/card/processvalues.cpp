#include "processvalues.h"

#include "sessionfolder.h"

namespace {

struct Values {
    CardPtr card;
    int lastChannelCount = 0;
};

Values &values()
{
    static Values instance;
    return instance;
}

} // namespace

CardPtr processvalues::card() { return values().card; }

std::optional<QString> processvalues::cardDevicePath()
{
    const CardPtr card = values().card;
    return card ? std::optional(card->device()) : std::nullopt;
}

void processvalues::setCardDevicePath(std::optional<QString> path)
{
    const CardPtr earlier =
        std::exchange(values().card, path ? std::make_shared<Card>(*path, tempRoot()) : nullptr);
    if (earlier)
        earlier->remove();
}

int processvalues::recordedChannelCount()
{
    const CardPtr card = values().card;
    return card && card->channelCount ? *card->channelCount : values().lastChannelCount;
}

void processvalues::setRecordedChannelCount(int count)
{
    values().lastChannelCount = count;
    if (values().card)
        values().card->channelCount = count;
}

const QString &processvalues::tempRoot()
{
    static const SessionFolder folder = SessionFolder::take(SessionFolder::usualPlaces());
    return folder.path();
}
