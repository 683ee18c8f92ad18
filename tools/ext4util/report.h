#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

/// What the process ends with. Documented in --help; scripts may rely on the numbers.
enum class ExitStatus {
    Whole = 0, ///< the result is complete
    Usage = 1, ///< the command line is wrong
    Device = 2, ///< the device can't be opened, or is none that this caller may read
    FileSystem = 3, ///< no readable ext4 file system at the offset
    NotFound = 4, ///< no such path on the card, or not of the kind asked for
    Incomplete = 5, ///< there is a result, and something of it is missing: see the messages
    Damaged = 6, ///< the card's structure is wrong there: no result
    Target = 7, ///< the result can't be written
    Internal = 8, ///< no memory, or rights that could not be given up
};

/// Ends the run: what failed, as one word without blanks, and why, in the library's or the system's words.
class Failure : public std::exception
{
public:
    /// `cause` is an errno or a libext2fs code; 0 for none.
    Failure(ExitStatus status, std::string word, long cause = 0);
    [[nodiscard]] ExitStatus status() const { return m_status; }
    [[nodiscard]] const std::string &word() const { return m_word; }
    [[nodiscard]] long cause() const { return m_cause; }
    [[nodiscard]] const char *what() const noexcept override { return m_word.c_str(); }

private:
    ExitStatus m_status;
    std::string m_word;
    long m_cause;
};

/// Writes "ext4util:WORD" or "ext4util:WORD DETAIL" to standard error, with no further blank whatever
/// `detail` holds: whoever reads both streams as one takes a line of three words for an entry of a folder.
void say(std::string_view word, std::string_view detail = {});

/// The same with the text of an errno or libext2fs code.
void sayCause(std::string_view word, long cause);

/// What was found wrong on the way without ending the run. Each kind is told once, with its count.
class Findings
{
public:
    /// Something was lost: the exit status becomes `Incomplete`.
    void addDamage(std::string_view word) { add(word, true); }
    /// Worth a word; the result is whole all the same.
    void addRemark(std::string_view word) { add(word, false); }
    void take(const Findings &other);
    [[nodiscard]] bool isWhole() const;
    void tell() const;

private:
    struct Finding {
        std::string word;
        std::uint64_t count;
        bool isDamage;
    };
    void add(std::string_view word, bool isDamage);
    std::vector<Finding> m_findings;
};
