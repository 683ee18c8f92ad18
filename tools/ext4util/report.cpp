#include "report.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <ext2fs/ext2fs.h>
#include <unistd.h>

Failure::Failure(ExitStatus status, std::string word, long cause)
    : m_status(status)
    , m_word(std::move(word))
    , m_cause(cause)
{
}

void say(std::string_view word, std::string_view detail)
{
    std::array<char, 512> line{}; // said where there is no memory, too
    std::size_t length = 0;
    const auto add = [&line, &length](char c) {
        if (length + 1 < line.size())
            line[length++] = c;
    };
    const auto addWord = [&add](std::string_view text) {
        for (const char c : text)
            add(std::isgraph(static_cast<unsigned char>(c)) ? c : '-');
    };
    addWord("ext4util:");
    addWord(word);
    if (!detail.empty()) {
        add(' ');
        addWord(detail);
    }
    line[length++] = '\n';
    // A message that can't be written has nobody to read it.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), length);
}

void sayCause(std::string_view word, long cause)
{
    if (cause == 0)
        return say(word);
    initialize_ext2_error_table();
    say(word, error_message(cause));
}

void Findings::add(std::string_view word, bool isDamage)
{
    const auto known = std::find_if(m_findings.begin(), m_findings.end(),
                                    [word](const Finding &finding) { return finding.word == word; });
    if (known != m_findings.end())
        ++known->count;
    else
        m_findings.push_back({std::string(word), 1, isDamage});
}

void Findings::take(const Findings &other)
{
    for (const Finding &finding : other.m_findings)
        add(finding.word, finding.isDamage);
}

bool Findings::isWhole() const
{
    return std::none_of(m_findings.begin(), m_findings.end(), [](const Finding &f) { return f.isDamage; });
}

void Findings::tell() const
{
    for (const Finding &finding : m_findings)
        say(finding.word, finding.count > 1 ? std::to_string(finding.count) : std::string());
}
