// What went wrong, as a value: the host never reports by exception. A Failure keeps the first cause; what undoing it
// failed on stands beside it and never replaces it.
#pragma once

#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace tarnctl {

// Exit status of the program. The numbers are an interface: scripts test them.
enum class ExitCode : int {
    kDone = 0,
    kFailed = 1,
    kUsage = 2,
    kNotFound = 4,
    kBusy = 5,
    kUnsupported = 6,
    kMayBeFrozen = 8,  // a file system may still be frozen: the failure names it and the exact thaw command
    kCommandFailed = 10,
};

struct Failure {
    ExitCode code = ExitCode::kFailed;
    std::string operation;                  // "claim", "freeze", "attach the snapshot"
    std::string subject;                    // mount point, device or file that it was about
    std::string cause;                      // one sentence, with the system's error text where there is one
    std::vector<std::string> messages{};    // what the framework's error manager said
    std::vector<std::string> traceLines{};  // level-1 lines of the failing call
    std::vector<Failure> undoing{};         // what failed while putting things back
};

// A value or the failure that kept it from being made.
template <typename T>
class [[nodiscard]] Result {
  public:
    Result(T value) : held_(std::move(value)) {}
    Result(Failure failure) : held_(std::move(failure)) {}

    explicit operator bool() const { return std::holds_alternative<T>(held_); }
    T& operator*() { return std::get<T>(held_); }
    const T& operator*() const { return std::get<T>(held_); }
    T* operator->() { return &std::get<T>(held_); }
    const T* operator->() const { return &std::get<T>(held_); }
    Failure& failure() { return std::get<Failure>(held_); }
    const Failure& failure() const { return std::get<Failure>(held_); }

  private:
    std::variant<T, Failure> held_;
};

struct Done {};
using Status = Result<Done>;

}  // namespace tarnctl
