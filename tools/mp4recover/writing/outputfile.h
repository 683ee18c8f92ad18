#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct AVIOContext;

/// The file that is being made. It grows under a temporary name in the target's folder and gets its own name
/// only when it is whole; until then the destructor removes it, and so does a signal that ends the process.
class OutputFile
{
public:
    /// All but the destructor throw Failure (`Target`).
    explicit OutputFile(std::string path);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    /// What a muxer writes through; lives as long as this. It may jump back.
    [[nodiscard]] AVIOContext *io() { return m_io; }
    /// Brings all bytes to the medium. Nothing may be written afterwards.
    void finish();
    /// Gives the finished file its name; replaces a file of that name.
    void publish();

private:
    static int writeBytes(void *self, std::uint8_t *bytes, int count);
    static std::int64_t seekTo(void *self, std::int64_t offset, int origin);
    [[nodiscard]] bool flush();

    std::string m_path;
    std::string m_temporaryPath;
    int m_file = -1;
    int m_error = 0; ///< errno of the first failure
    std::vector<std::uint8_t> m_buffer;
    std::int64_t m_bufferStart = 0; ///< place of the buffer in the file
    AVIOContext *m_io = nullptr;
};

/// Removes unfinished files when SIGINT, SIGTERM, SIGHUP or SIGPIPE ends the process.
void removeUnfinishedFilesOnSignals();
