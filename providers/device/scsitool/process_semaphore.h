// A semaphore that one holder at a time has: of all processes of the host, or of one process.
#pragma once

#include <semaphore.h>
#include <sys/types.h>

#include <atomic>

// Thread-safe. Objects live as long as the process (their holds refer to them).
class ProcessSemaphore {
  public:
    // Held until destroyed; an empty one holds nothing.
    class Hold {
      public:
        Hold(Hold&& other) noexcept;
        Hold& operator=(Hold&&) = delete;
        ~Hold();

        explicit operator bool() const { return semaphore_ != nullptr; }
        // Why an empty one is empty: an errno.
        int error() const { return error_; }

      private:
        friend class ProcessSemaphore;
        Hold(ProcessSemaphore* semaphore, int setId) : semaphore_(semaphore), setId_(setId) {}
        explicit Hold(int error) : error_(error) {}

        ProcessSemaphore* semaphore_ = nullptr;
        int setId_ = -1;
        int error_ = 0;
    };

    // A System V set of one semaphore under this key, made where there is none, open to every user: shared by all
    // processes, 0 when free. What a process holds goes back when the process dies. The destructor removes the set,
    // even while another process uses it.
    explicit ProcessSemaphore(key_t key);
    // An unnamed POSIX semaphore of this process.
    ProcessSemaphore();
    ProcessSemaphore(const ProcessSemaphore&) = delete;
    ProcessSemaphore& operator=(const ProcessSemaphore&) = delete;
    ~ProcessSemaphore();

    // Waits without limit, over signals too. A set that vanishes meanwhile is made again and waited for again, three
    // times; then, and when there can be no set at all, the hold is empty.
    Hold acquire();

  private:
    enum class Form { kSystemV, kPosix };

    Hold acquireSystemV();
    Hold acquirePosix();
    void release(int setId);

    const Form form_;
    key_t key_ = 0;
    std::atomic<int> setId_ = -1;
    sem_t posix_{};
};
