#pragma once

#include "volumelist.h"

#include <chrono>

/// The mount table's volumes of removable disks, with their labels from udev.
class MountedVolumeList : public VolumeList
{
public:
    struct Patience {
        std::chrono::milliseconds forDesktop{4000}; ///< until UDisks2 is asked
        std::chrono::milliseconds forMount{6000}; ///< from there on
        std::chrono::milliseconds betweenLooks{200};
    };

    MountedVolumeList() = default;
    explicit MountedVolumeList(Patience patience)
        : m_patience(patience)
    {
    }
    [[nodiscard]] VolumeListing listing() const override;
    QCoro::Task<> waitForVolumeOf(QString diskPath) override;

private:
    Patience m_patience;
};
