#pragma once

#include "uniquefd.h"
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <sys/stat.h>

/// An open device or image, from the first byte of its ext4 area on. Reads only.
class CardDevice
{
public:
    CardDevice(UniqueFd descriptor, std::uint64_t offset);

    /// Bytes from the start of the area to the end of the device; less than the file system's on an image cut
    /// off.
    [[nodiscard]] std::uint64_t size() const { return m_size; }

    /// Fills all of `into` with what stands `position` bytes into the area; false if that can't be done.
    [[nodiscard]] bool read(std::uint64_t position, std::span<std::byte> into) const;

    /// Whether that is the image itself, under whatever name.
    [[nodiscard]] bool isFile(const struct stat &status) const
    {
        return status.st_dev == m_filesDevice && status.st_ino == m_inode;
    }

private:
    UniqueFd m_descriptor;
    std::uint64_t m_offset;
    std::uint64_t m_size;
    dev_t m_filesDevice = 0;
    ino_t m_inode = 0;
};

/// Opens what the caller can read himself, or else, if this process has borrowed root's rights, a card's
/// disk. In either case the process has no other rights than the caller's afterwards, for good. Throws
/// Failure (`Device`, `Internal`).
[[nodiscard]] CardDevice openCardDevice(const std::string &path, std::uint64_t offset);
