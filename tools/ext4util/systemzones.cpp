#include "systemzones.h"

#include <algorithm>

SystemZones::SystemZones(ext2_filsys fs)
{
    const auto add = [this](std::uint64_t first, std::uint64_t count) {
        if (first != 0 && count != 0)
            m_zones.push_back({first, first + count});
    };
    for (dgrp_t group = 0; group < fs->group_desc_count; ++group) {
        blk64_t super = 0, oldTable = 0, newTable = 0;
        ext2fs_super_and_bgd_loc2(fs, group, &super, &oldTable, &newTable, nullptr);
        add(super, 1);
        add(oldTable, fs->desc_blocks);
        add(newTable, 1);
        add(ext2fs_block_bitmap_loc(fs, group), 1);
        add(ext2fs_inode_bitmap_loc(fs, group), 1);
        add(ext2fs_inode_table_loc(fs, group), fs->inode_blocks_per_group);
    }
    std::sort(m_zones.begin(), m_zones.end(), [](const Zone &a, const Zone &b) { return a.first < b.first; });
    std::vector<Zone> merged;
    for (const Zone &zone : m_zones) {
        if (!merged.empty() && zone.first <= merged.back().end)
            merged.back().end = std::max(merged.back().end, zone.end);
        else
            merged.push_back(zone);
    }
    m_zones = std::move(merged);
}

bool SystemZones::overlap(std::uint64_t first, std::uint64_t count) const
{
    const auto after =
        std::upper_bound(m_zones.begin(), m_zones.end(), first,
                         [](std::uint64_t block, const Zone &zone) { return block < zone.end; });
    return after != m_zones.end() && after->first < first + count;
}
