// Test support: a forked process that says one word when it has got somewhere.
#pragma once

#include <sys/types.h>

#include <functional>

// Killed, if still there, and reaped at the latest by the destructor.
class Child {
  public:
    // work gets a function that sends the word; its result is the exit status. With exits the child ends as programs
    // do, objects of static life included; otherwise at once.
    enum class End { kAtOnce, kAsPrograms };
    explicit Child(const std::function<int(const std::function<void()>& say)>& work, End end = End::kAtOnce);
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child();

    pid_t pid() const { return pid_; }
    // Has the word come within this time?
    bool hasSaid(int milliseconds) const;
    void signal(int number) const;
    // Stops it and returns when it stands still.
    void stop() const;
    // Its exit status; -1 when a signal ended it.
    int join();

  private:
    pid_t pid_ = -1;
    int words_ = -1;
};
