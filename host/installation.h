// What one run of the program works with: where its providers and its catalog are, and how it answers.
#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/catalog/catalog.h"
#include "host/provider/provider.h"
#include "host/provider/trace_tap.h"
#include "host/report/failure.h"

namespace tarnctl {

struct Settings {
    std::string catalogPath;                                     // empty: the default
    std::vector<std::string> providerFolders;                    // searched in order
    std::vector<std::string> providerNames{"tarnfi", "loopfi"};  // in the order in which they are asked
    bool isJson = false;
    int freezeBudgetMs = 10'000;  // longest window
    mode_t callerUmask = 022;     // for the programs that we start on the caller's behalf
};

using Providers = std::vector<std::unique_ptr<Provider>>;

// What most verbs work with. Borrowed from the installation.
struct Opened {
    Providers& providers;
    Catalog& catalog;
};

class Installation {
  public:
    explicit Installation(Settings settings) : settings_(std::move(settings)) {}

    const Settings& settings() const { return settings_; }
    // Loads all providers on the first call.
    Result<Providers*> providers();
    // Opens it on the first call.
    Result<Catalog*> catalog();
    // Both. Where a provider cannot be loaded, no catalog is made.
    Result<Opened> open();

  private:
    Settings settings_;
    TraceTap tap_;
    Providers providers_;
    std::optional<Catalog> catalog_;
};

// The folders searched when none are named, both seen from the program: its place in a build tree, then where the
// install step puts providers.
std::vector<std::string> defaultProviderFolders();

}  // namespace tarnctl
