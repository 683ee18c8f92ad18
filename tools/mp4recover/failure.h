#pragma once

#include <stdexcept>
#include <string>

/// What the process ends with. Documented in --help; scripts may rely on the numbers.
enum class ExitStatus {
    Written = 0, ///< a recording was written
    Usage = 1, ///< the command line is wrong
    Source = 2, ///< the source can't be read
    NothingFound = 3, ///< no frame was found; nothing was written
    Target = 4, ///< the target can't be written
    Internal = 5, ///< no memory, or a library refused to work
};

/// Ends the run; the text says which step failed, on what and why.
class Failure : public std::runtime_error
{
public:
    Failure(ExitStatus status, const std::string &text)
        : std::runtime_error(text)
        , m_status(status)
    {
    }
    [[nodiscard]] ExitStatus status() const { return m_status; }

private:
    ExitStatus m_status;
};
