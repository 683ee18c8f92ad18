#include "groupguard.h"

#include "childprocess.h"

#include <array>
#include <fcntl.h>
#include <QByteArray>
#include <spawn.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr char script[] = R"sh(
trap '' HUP INT QUIT TERM
declare -A groups
while read -r what group; do
    case $what in
    begin) groups[$group]=1 ;;
    end) unset "groups[$group]" ;;
    esac
done
for signal in TERM KILL; do
    for group in "${!groups[@]}"; do kill -s $signal -- "-$group" 2>/dev/null; done
    for (( tenth = 0; tenth < 20; ++tenth )); do
        for group in "${!groups[@]}"; do
            kill -s 0 -- "-$group" 2>/dev/null || unset "groups[$group]"
        done
        (( ${#groups[@]} == 0 )) && exit
        sleep 0.1
    done
done
)sh";

/// The guard and the line to it. Where it can't be started, or was ended by somebody, tools run unguarded.
class Guard
{
public:
    Guard()
    {
        std::array<int, 2> ends{-1, -1};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
            return;
        const FileDescriptor itsEnd(ends[0]);
        FileDescriptor ourEnd(ends[1]);
        if (start(itsEnd.get()))
            m_line = std::move(ourEnd);
    }
    void tell(const char *what, pid_t group) const
    {
        const std::string text = what + (' ' + std::to_string(group)) + '\n';
        if (m_line.get() >= 0)
            ::send(m_line.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    }

private:
    static bool start(int input)
    {
        posix_spawn_file_actions_t actions{};
        posix_spawnattr_t attributes{};
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
        for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) // nobody shall wait for its end
            ::posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
        ::posix_spawnattr_init(&attributes);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
        QByteArray name("vornex-guard");
        QByteArray option("-c");
        QByteArray text(script);
        const std::array<char *, 4> arguments{name.data(), option.data(), text.data(), nullptr};
        pid_t pid = -1;
        const int error = ::posix_spawn(&pid, "/bin/bash", &actions, &attributes, arguments.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
        return error == 0;
    }

    FileDescriptor m_line;
};

void tell(const char *what, pid_t group)
{
    static const Guard &guard = *new Guard; // its line closes with the process alone
    guard.tell(what, group);
}

} // namespace

void groupguard::begin(pid_t group) { tell("begin", group); }

void groupguard::end(pid_t group) { tell("end", group); }
