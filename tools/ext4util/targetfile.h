#pragma once

#include "uniquefd.h"
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

/// The file that an extraction makes. It grows under a name of its own in the target's folder and gets the
/// target's name only when it is complete; until then it is removed by the destructor and by a signal that
/// ends the process. One at a time.
class TargetFile
{
public:
    /// Removes a file that is at `path`; anything but a regular file there is left alone and refused. Throws
    /// Failure (`Target`).
    explicit TargetFile(const std::string &path);
    ~TargetFile();
    TargetFile(const TargetFile &) = delete;
    TargetFile &operator=(const TargetFile &) = delete;

    /// The following throw Failure (`Target`).
    void requireSpace(std::uint64_t bytes) const;
    void write(std::uint64_t position, std::span<const std::byte> bytes);
    /// Sets the length and gives the file its name. What was never written reads as zeros and takes no room.
    void complete(std::uint64_t size);

private:
    void removeOldTarget();
    void createTemporary();

    std::string m_name;
    std::array<char, 32> m_temporaryName{};
    UniqueFd m_folder;
    UniqueFd m_file;
};
