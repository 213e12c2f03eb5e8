#include "host/installation.h"

#include <filesystem>

namespace tarnctl {

std::vector<std::string> defaultProviderFolders() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        return {};
    }
    std::vector<std::string> folders;
    for (const char* folder : {"../lib", TARNFI_PROVIDER_FOLDER}) {
        folders.push_back((program.parent_path() / folder).lexically_normal().string());
    }
    return folders;
}

Result<Providers*> Installation::providers() {
    if (!providers_.empty()) {
        return &providers_;
    }
    for (const std::string& name : settings_.providerNames) {
        auto provider = Provider::load(name, settings_.providerFolders, tap_);
        if (!provider) {
            providers_.clear();
            return provider.failure();
        }
        providers_.push_back(std::move(*provider));
    }
    return &providers_;
}

Result<Catalog*> Installation::catalog() {
    if (!catalog_) {
        auto opened = settings_.catalogPath.empty() ? Catalog::open() : Catalog::open(settings_.catalogPath);
        if (!opened) {
            return opened.failure();
        }
        catalog_ = std::move(*opened);
    }
    return &*catalog_;
}

Result<Opened> Installation::open() {
    auto loaded = providers();
    if (!loaded) {
        return loaded.failure();
    }
    auto opened = catalog();
    if (!opened) {
        return opened.failure();
    }
    return Opened{**loaded, **opened};
}

}  // namespace tarnctl
