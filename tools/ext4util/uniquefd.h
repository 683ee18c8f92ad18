#pragma once

#include <unistd.h>
#include <utility>

/// Owns a file descriptor; -1 is none.
class UniqueFd
{
public:
    explicit UniqueFd(int fd = -1)
        : m_fd(fd)
    {
    }
    UniqueFd(UniqueFd &&other) noexcept
        : m_fd(std::exchange(other.m_fd, -1))
    {
    }
    UniqueFd &operator=(UniqueFd &&other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    UniqueFd(const UniqueFd &) = delete;
    UniqueFd &operator=(const UniqueFd &) = delete;
    ~UniqueFd()
    {
        if (m_fd >= 0)
            close(m_fd);
    }
    [[nodiscard]] int get() const { return m_fd; }
    [[nodiscard]] bool isOpen() const { return m_fd >= 0; }
    [[nodiscard]] int release() { return std::exchange(m_fd, -1); }

private:
    int m_fd;
};
