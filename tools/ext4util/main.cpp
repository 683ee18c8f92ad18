#include "carddevice.h"
#include "confinement.h"
#include "extraction.h"
#include "listing.h"
#include "options.h"
#include "pathlookup.h"
#include "privileges.h"
#include "report.h"
#include <cstdlib>
#include <optional>

namespace {

/// The order is the point: root's rights, if there are any, are given up inside openCardDevice(), before the
/// target is looked at and before a byte of the card is.
void work(const Options &options, Findings &findings)
{
    const CardDevice device = openCardDevice(options.device, options.offset);
    limitResources();
    std::optional<TargetFile> target;
    if (options.command == Options::Command::Read)
        target.emplace(options.target, device);
    confineSystemCalls();

    const FileSystem fs(device, findings);
    const CardInode inode = lookUp(fs, options.path, findings);
    if (target)
        extractFile(fs, inode, *target, findings);
    else
        listFolder(fs, inode, findings);
}

ExitStatus run(int argc, char **argv, Findings &findings)
{
    const Options options = parseOptions(argc, argv);
    if (options.command == Options::Command::Help)
        printHelp();
    else if (options.command == Options::Command::Version)
        printVersion();
    else
        work(options, findings);
    return findings.isWhole() ? ExitStatus::Whole : ExitStatus::Incomplete;
}

ExitStatus runAndTell(int argc, char **argv)
{
    Findings findings;
    ExitStatus status = ExitStatus::Internal;
    try {
        status = run(argc, argv, findings);
    } catch (const Failure &failure) {
        sayCause(failure.word(), failure.cause());
        status = failure.status();
    } catch (const std::bad_alloc &) {
        say("out-of-memory");
    }
    findings.tell();
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    prepareProcess();
    const ExitStatus status = runAndTell(argc, argv);
    return static_cast<int>(status);
}
