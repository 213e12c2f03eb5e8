#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <utility>

#include "child_process.h"

namespace znfi_runtime {
namespace {

// What a command gets to see, whatever the caller's environment holds.
char searchPath[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
char locale[] = "LC_ALL=C";
char language[] = "LANG=C";
char* const kEnvironment[] = {searchPath, locale, language, nullptr};

// The C library's own declaration lacks C linkage in some releases.
Descriptor openHandle(pid_t id) {
    return Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, id, 0U)));
}

class FileActions {
  public:
    FileActions() { error_ = ::posix_spawn_file_actions_init(&actions_); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }

    void duplicate(int from, int to) { keep(::posix_spawn_file_actions_adddup2(&actions_, from, to)); }
    void closeFrom(int first) { keep(::posix_spawn_file_actions_addclosefrom_np(&actions_, first)); }
    void changeDirectory(const char* path) { keep(::posix_spawn_file_actions_addchdir_np(&actions_, path)); }

    int error() const { return error_; }
    const posix_spawn_file_actions_t* get() const { return &actions_; }

  private:
    void keep(int error) { error_ = error_ == 0 ? error : error_; }

    posix_spawn_file_actions_t actions_{};
    int error_ = 0;
};

// A group of its own, no signal blocked, every signal at its default.
class Attributes {
  public:
    Attributes() {
        sigset_t none;
        sigset_t all;
        ::sigemptyset(&none);
        // Not sigfillset: it leaves out the two signals that the C library keeps for itself, and it would have the
        // child ignore those.
        std::memset(&all, 0xff, sizeof all);
        ::posix_spawnattr_init(&attributes_);
        ::posix_spawnattr_setsigmask(&attributes_, &none);
        ::posix_spawnattr_setsigdefault(&attributes_, &all);
        ::posix_spawnattr_setpgroup(&attributes_, 0);
        ::posix_spawnattr_setflags(&attributes_,
                                   POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    ~Attributes() { ::posix_spawnattr_destroy(&attributes_); }

    const posix_spawnattr_t* get() const { return &attributes_; }

  private:
    posix_spawnattr_t attributes_{};
};

// Can children be waited for by handle here? Asked before anything is started; a "no" is asked again next time.
bool canWaitByHandle() {
    static std::atomic<bool> known{false};
    if (!known.load(std::memory_order_relaxed)) {
        const Descriptor self = openHandle(::getpid());
        siginfo_t info{};
        const bool can = self && ::waitid(P_PIDFD, static_cast<id_t>(self.number()), &info, WEXITED | WNOHANG) != 0 &&
                         errno == ECHILD;
        known.store(can, std::memory_order_relaxed);
        return can;
    }
    return true;
}

// A caller without standard descriptors would get 0 to 2 for ours, where the child's own have to go.
bool liftAboveStandard(Descriptor& descriptor) {
    if (descriptor.number() <= STDERR_FILENO) {
        descriptor = Descriptor(::fcntl(descriptor.number(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    }
    return static_cast<bool>(descriptor);
}

// What the child's standard descriptors are made of, and the end that stays here.
struct Ends {
    Descriptor input;
    Descriptor outputWrite;
    Descriptor outputRead;
};

zfi_eexecpipe openEnds(Ends& ends) {
    int pipeEnds[2];
    if (::pipe2(pipeEnds, O_CLOEXEC) != 0) {
        return ZFI_EXEC_PIPE_CREATE_PIPE_FAILED;
    }
    ends.outputRead = Descriptor(pipeEnds[0]);
    ends.outputWrite = Descriptor(pipeEnds[1]);
    // Opened here and not by the child: its ENOENT would look like that of a missing program.
    ends.input = Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!ends.input) {
        return ZFI_EXEC_PIPE_ERROR_UNEXPECTED;
    }
    const bool lifted = liftAboveStandard(ends.outputWrite) && liftAboveStandard(ends.input);
    return lifted ? ZFI_EXEC_PIPE_SUCCESS : ZFI_EXEC_PIPE_DUPLICATE_HANDLE_FAILED;
}

// Returns 0 or an errno; the kernel's answer to the exec arrives here, as the child shares our memory until then.
int spawn(pid_t& id, std::vector<std::string>& arguments, const Ends& ends) {
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    FileActions actions;
    actions.duplicate(ends.input.number(), STDIN_FILENO);
    actions.duplicate(ends.outputWrite.number(), STDOUT_FILENO);
    actions.duplicate(ends.outputWrite.number(), STDERR_FILENO);
    actions.closeFrom(STDERR_FILENO + 1);
    actions.changeDirectory("/");
    if (actions.error() != 0) {
        return actions.error();
    }
    const Attributes attributes;
    return ::posix_spawn(&id, argv[0], actions.get(), attributes.get(), argv.data(), kEnvironment);
}

zfi_eexecpipe codeOfSpawnError(int error) {
    const bool missing = error == ENOENT || error == ENOTDIR;
    return missing ? ZFI_EXEC_PIPE_EXE_DOES_NOT_EXIST : ZFI_EXEC_PIPE_CREATE_CHILD_PROCESS_FAILED;
}

}  // namespace

ChildProcess::Started ChildProcess::start(std::vector<std::string> arguments) {
    Ends ends;
    if (const zfi_eexecpipe code = openEnds(ends); code != ZFI_EXEC_PIPE_SUCCESS) {
        return {code, errno, nullptr};
    }
    if (!canWaitByHandle()) {
        return {ZFI_EXEC_PIPE_ERROR_UNEXPECTED, errno, nullptr};
    }
    auto child = std::make_unique<ChildProcess>();  // before there is something to lose when memory is out
    pid_t id = 0;
    if (const int error = spawn(id, arguments, ends); error != 0) {
        return {codeOfSpawnError(error), error, nullptr};
    }
    ends.input.close();  // leaves a free number for the handle, should the caller have used up its own
    ends.outputWrite.close();
    Descriptor handle = openHandle(id);
    if (!handle && errno != ESRCH) {
        // Other threads took the last free number: a child that cannot be watched must not run on.
        const int error = errno;
        ::kill(-id, SIGKILL);
        ::waitpid(id, nullptr, 0);
        return {ZFI_EXEC_PIPE_CMD_ERROR_UNEXPECTED, error, nullptr};
    }
    child->adopt(id, std::move(handle), std::move(ends.outputRead));
    return {ZFI_EXEC_PIPE_SUCCESS, 0, std::move(child)};
}

}  // namespace znfi_runtime
