#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

/// A regular file's bytes in memory, read-only and without copying them. Where the file shrinks while it is
/// mapped, or its medium fails, the bytes read as zeros instead of ending the program: the first mapping
/// installs a handler for SIGBUS, which passes faults elsewhere on to the handler that was there before.
/// System calls that are given such bytes fail with EFAULT. Any thread; destroyed only when nobody looks at
/// the bytes any more. At most 64 mappings at a time.
class MappedFile
{
public:
    /// None if it can't be opened or mapped or isn't a regular file; errno tells why (EINVAL for the latter).
    [[nodiscard]] static std::optional<MappedFile> open(const char *path);
    /// The descriptor stays the caller's and may be closed at once.
    [[nodiscard]] static std::optional<MappedFile> ofDescriptor(int descriptor);

    MappedFile(MappedFile &&other) noexcept;
    MappedFile &operator=(MappedFile &&other) noexcept;
    MappedFile(const MappedFile &) = delete;
    MappedFile &operator=(const MappedFile &) = delete;
    ~MappedFile();

    /// As many as the file had when it was mapped.
    [[nodiscard]] std::span<const std::uint8_t> bytes() const { return {m_data, m_size}; }
    /// Whether a page that was looked at wasn't there and was given as zeros. A file that lost less than a
    /// page can show its zeros without this.
    [[nodiscard]] bool hasShrunk() const;

    /// Brings these bytes in at once, which costs a fraction of what the faults of single pages cost. A hint.
    void populate(std::size_t offset, std::size_t size) const;
    /// Gives back the memory of the pages within these bytes; they come in again when looked at.
    void release(std::size_t offset, std::size_t size) const;

private:
    MappedFile() = default;

    const std::uint8_t *m_data = nullptr;
    std::size_t m_size = 0;
    int m_guard = -1; // none for an empty file
};
