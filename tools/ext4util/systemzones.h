#pragma once

#include <cstdint>
#include <ext2fs/ext2fs.h>
#include <vector>

/// The blocks that hold the file system's own tables. A file that claims one of them is damaged.
class SystemZones
{
public:
    SystemZones() = default;
    explicit SystemZones(ext2_filsys fs);
    [[nodiscard]] bool overlap(std::uint64_t first, std::uint64_t count) const;

private:
    struct Zone {
        std::uint64_t first;
        std::uint64_t end;
    };
    std::vector<Zone> m_zones; ///< ordered, apart from each other
};
