#include "common/mappedfile.h"
#include "failure.h"
#include "finder.h"
#include "writing/options.h"
#include "writing/outputfile.h"
#include "writing/repair.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <new>
#include <strings.h>

extern "C" {
#include <libavutil/log.h>
}

namespace {

/// Tells each tenth once.
class ProgressTeller
{
public:
    explicit ProgressTeller(const char *step)
        : m_step(step)
    {
    }
    void operator()(double part)
    {
        const int tenth = static_cast<int>(part * 10);
        if (tenth <= m_told)
            return;
        m_told = tenth;
        std::fprintf(stderr, "%s: %d %%\n", m_step, tenth * 10);
    }

private:
    const char *m_step;
    int m_told = 0;
};

void tell(const RepairReport &report)
{
    int number = 1;
    for (const ChannelReport &channel : report.channels) {
        std::fprintf(stderr, "channel %d: %zu frames found, %lld lost\n", number, channel.found,
                     static_cast<long long>(channel.lost));
        ++number;
    }
    if (report.soundSeconds > 0)
        std::fprintf(stderr, "sound: %.1f seconds, %.1f of them silence for what is lost\n",
                     report.soundSeconds, report.silentSeconds);
    else
        std::fprintf(stderr, "sound: none\n");
}

/// Neither of the two files that are made may replace the source, nor one the other.
void checkPaths(const Options &options)
{
    const std::string sound = soundPathFor(options.target);
    std::error_code ignored;
    if (std::filesystem::equivalent(options.source, options.target, ignored))
        throw Failure(ExitStatus::Usage, "source and target are the same file");
    if (std::filesystem::equivalent(options.source, sound, ignored))
        throw Failure(ExitStatus::Usage, "the sound would replace the source; take another target");
    if (strcasecmp(sound.c_str(), options.target.c_str()) == 0)
        throw Failure(ExitStatus::Usage, "the sound goes to a file of that name; take another target");
}

void recover(const Options &options)
{
    checkPaths(options);
    const auto source = MappedFile::open(options.source.c_str());
    if (!source)
        throw Failure(ExitStatus::Source, "cannot read " + options.source + ": " + std::strerror(errno));
    const Findings findings = findRecording(*source, options.channels, ProgressTeller("searching"));
    tell(repair(source->bytes(), findings, options.target, ProgressTeller("writing")));
    for (const std::string &remark : findings.remarks)
        std::fprintf(stderr, "%s\n", remark.c_str());
    if (source->hasShrunk())
        std::fprintf(stderr, "the source became shorter, or parts of it couldn't be read\n");
}

ExitStatus run(int argc, char **argv)
{
    const Options options = parseOptions({argv + 1, argv + argc});
    switch (options.command) {
    case Options::Command::Help: std::fputs(helpText().c_str(), stdout); break;
    case Options::Command::Version: std::puts("mp4recover " MP4RECOVER_VERSION); break;
    case Options::Command::Recover: recover(options); break;
    }
    return ExitStatus::Written;
}

} // namespace

int main(int argc, char **argv)
{
    av_log_set_level(AV_LOG_QUIET); // what the libraries say of damaged bytes is no news
    removeUnfinishedFilesOnSignals();
    ExitStatus status = ExitStatus::Internal;
    try {
        status = run(argc, argv);
    } catch (const Failure &failure) {
        std::fprintf(stderr, "mp4recover: %s\n", failure.what());
        status = failure.status();
    } catch (const std::bad_alloc &) {
        std::fprintf(stderr, "mp4recover: out of memory\n");
    } catch (const std::exception &error) {
        std::fprintf(stderr, "mp4recover: %s\n", error.what());
    }
    return static_cast<int>(status);
}
