#include "process_semaphore.h"

#include <sys/ipc.h>
#include <sys/sem.h>

#include <array>
#include <cerrno>
#include <utility>

namespace {

constexpr int kFlags = IPC_CREAT | 0666;
constexpr int kRecreations = 3;

// One step: nobody passes between the wait for 0 and the increment.
int waitAndTake(int setId) {
    std::array<sembuf, 2> steps = {sembuf{0, 0, SEM_UNDO}, sembuf{0, 1, SEM_UNDO | IPC_NOWAIT}};
    while (semop(setId, steps.data(), steps.size()) != 0) {
        if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

}  // namespace

ProcessSemaphore::Hold::Hold(Hold&& other) noexcept
    : semaphore_(std::exchange(other.semaphore_, nullptr)), setId_(other.setId_), error_(other.error_) {}

ProcessSemaphore::Hold::~Hold() {
    if (semaphore_ != nullptr) {
        semaphore_->release(setId_);
    }
}

ProcessSemaphore::ProcessSemaphore(key_t key) : form_(Form::kSystemV), key_(key), setId_(semget(key, 1, kFlags)) {}

ProcessSemaphore::ProcessSemaphore() : form_(Form::kPosix) {
    sem_init(&posix_, 0, 1);
}

ProcessSemaphore::~ProcessSemaphore() {
    if (form_ == Form::kPosix) {
        sem_destroy(&posix_);
    } else if (setId_ >= 0) {
        semctl(setId_, 0, IPC_RMID);
    }
}

ProcessSemaphore::Hold ProcessSemaphore::acquire() {
    return form_ == Form::kPosix ? acquirePosix() : acquireSystemV();
}

ProcessSemaphore::Hold ProcessSemaphore::acquireSystemV() {
    int error = 0;
    for (int wait = 0; wait <= kRecreations; ++wait) {
        // Looked up every time: another process may have removed the set at its end, and a third made a new one.
        const int setId = semget(key_, 1, kFlags);
        if (setId < 0) {
            return Hold(errno);
        }
        setId_ = setId;
        error = waitAndTake(setId);
        if (error == 0) {
            return {this, setId};
        }
        const bool hasVanished = error == EIDRM || error == EINVAL;
        if (!hasVanished) {
            break;
        }
    }
    return Hold(error);
}

ProcessSemaphore::Hold ProcessSemaphore::acquirePosix() {
    while (sem_wait(&posix_) != 0) {
        if (errno != EINTR) {
            return Hold(errno);
        }
    }
    return {this, -1};
}

// The set that was taken, not the one of today: another may have been made under the key, and be held by others. A set
// that is gone has nothing left to give back.
void ProcessSemaphore::release(int setId) {
    if (form_ == Form::kPosix) {
        sem_post(&posix_);
        return;
    }
    sembuf giveBack{0, -1, SEM_UNDO | IPC_NOWAIT};
    semop(setId, &giveBack, 1);
}
