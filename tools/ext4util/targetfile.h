#pragma once

#include "carddevice.h"
#include "uniquefd.h"
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

/// The file that an extraction makes. It grows under a name of its own in the target's folder and gets the
/// target's name only when it is complete; until then it is removed by the destructor and by a signal that
/// ends the process. What was at the target goes when the file on the card is found. One at a time.
class TargetFile
{
public:
    /// Refuses a target that is anything but a regular file, or the card itself. Throws Failure (`Target`).
    TargetFile(const std::string &path, const CardDevice &card);
    ~TargetFile();
    TargetFile(const TargetFile &) = delete;
    TargetFile &operator=(const TargetFile &) = delete;

    /// The following throw Failure (`Target`).
    void removeOld();
    void requireSpace(std::uint64_t bytes) const;
    void write(std::uint64_t position, std::span<const std::byte> bytes);
    /// Sets the length and the date (seconds since 1970), and gives the file its name. What was never written
    /// reads as zeros and takes no room.
    void complete(std::uint64_t size, std::int64_t modified);

private:
    [[nodiscard]] bool hasOld() const;
    void createTemporary();

    const CardDevice &m_card;
    std::string m_name;
    std::array<char, 32> m_temporaryName{};
    UniqueFd m_folder;
    UniqueFd m_file;
};
