// A loaded provider: its library, its entry points and what it says of itself. Calls go through call(), which keeps
// what the provider reported while it ran. One thread.
#pragma once

#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "host/provider/entry_points.h"
#include "host/provider/trace_tap.h"
#include "host/report/failure.h"
#include "znfi.h"

namespace tarnctl {

// One message of the provider's error manager.
struct ProviderMessage {
    std::string id;
    std::vector<std::string> arguments;
    std::string text;
    int severity = 0;
};

struct ProviderInfo {
    std::string name;
    std::string path;                  // of the library
    std::string version;               // interface version, "7.0.0.0"
    std::vector<std::string> fiTypes;  // the types it says it handles
    bool isFileSystemLayer = false;    // else it is a volume layer
};

// The outcome of one call: its status, and what was reported during it.
struct CallOutcome {
    int status = 0;
    std::string escaped;  // what() of an exception that left the provider: its defect; empty normally
    std::vector<ProviderMessage> messages{};
    std::vector<std::string> traceLines{};  // level 1

    bool isOk() const { return escaped.empty() && status == ZFI_OK; }
};

class Provider {
  public:
    // Loads lib<name>.so from the first folder that has it, checks every entry point, and calls init. kNotFound where
    // no folder has it; kFailed with the names that are missing, or what init reported. The tap is borrowed.
    static Result<std::unique_ptr<Provider>> load(const std::string& name, const std::vector<std::string>& folders,
                                                  TraceTap& tap);
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;
    // fini, then unload.
    ~Provider();

    const std::string& name() const { return info_.name; }
    const ProviderInfo& info() const { return info_; }
    const EntryPoints& entry() const { return entry_; }

    // Runs call(entry points) → status under the provider's reports.
    template <typename Call>
    CallOutcome call(Call&& body) {
        CallOutcome outcome;
        beginReports();
        try {
            outcome.status = body(entry_);
        } catch (const std::exception& error) {
            outcome.escaped = error.what();
        } catch (...) {
            outcome.escaped = "an exception of unknown type";
        }
        endReports(outcome);
        return outcome;
    }
    // Runs the call alone, for use inside a freeze window: nothing is allocated, read or written by the host. The
    // reports stay with the provider until collect.
    template <typename Call>
    int callQuietly(Call&& body, const char*& escaped) {
        try {
            return body(entry_);
        } catch (const std::exception&) {
            escaped = "an exception of the standard library";
        } catch (...) {
            escaped = "an exception of unknown type";
        }
        return ZFI_ERR_FAILED;
    }
    void beginReports();
    void endReports(CallOutcome& outcome);

  private:
    Provider(std::string name, std::string path, TraceTap& tap);
    Status open();
    Status start();
    void describe();

    ProviderInfo info_;
    TraceTap& tap_;
    void* library_ = nullptr;
    bool isStarted_ = false;
    EntryPoints entry_;
    zfi_init init_{};
    std::string language_;
    char* languagePointer_ = nullptr;
};

// The failure that an outcome stands for: its status as text, its messages and trace lines.
Failure failureOf(Provider& provider, const CallOutcome& outcome, std::string operation, std::string subject);

}  // namespace tarnctl
