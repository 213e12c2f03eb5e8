#include "host/provider/provider.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>

namespace tarnctl {
namespace {

std::string librarySearched(const std::string& name, const std::vector<std::string>& folders) {
    for (const std::string& folder : folders) {
        std::string path = folder + "/lib" + name + ".so";
        std::error_code error;
        if (std::filesystem::is_regular_file(path, error)) {
            return path;
        }
    }
    return {};
}

bool isProviderName(const std::string& name) {
    return !name.empty() && name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_") == std::string::npos;
}

std::string userLanguage() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && *value != '\0') {
            std::string language(value);
            return language.substr(0, language.find('.'));
        }
    }
    return {};
}

}  // namespace

Provider::Provider(std::string name, std::string path, TraceTap& tap) : tap_(tap) {
    info_.name = std::move(name);
    info_.path = std::move(path);
}

Result<std::unique_ptr<Provider>> Provider::load(const std::string& name, const std::vector<std::string>& folders,
                                                 TraceTap& tap) {
    const std::string operation = "load the provider";
    if (!isProviderName(name)) {
        return Failure{ExitCode::kUsage, operation, name,
                       "a provider's name has only lower-case letters, digits and _"};
    }
    const std::string path = librarySearched(name, folders);
    if (path.empty()) {
        return Failure{ExitCode::kNotFound, operation, name,
                       fmt::format("no lib{}.so in {}", name, fmt::join(folders, ":"))};
    }
    std::unique_ptr<Provider> provider(new Provider(name, path, tap));
    if (Status opened = provider->open(); !opened) {
        return opened.failure();
    }
    if (Status started = provider->start(); !started) {
        return started.failure();
    }
    provider->describe();
    return provider;
}

Provider::~Provider() {
    if (isStarted_) {
        call([](const EntryPoints& entry) {
            entry.fini();
            return ZFI_OK;
        });
    }
    if (library_ != nullptr) {
        ::dlclose(library_);
    }
}

Status Provider::open() {
    library_ = ::dlopen(info_.path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library_ == nullptr) {
        return Failure{ExitCode::kFailed, "load the provider", info_.path, ::dlerror()};
    }
    const std::vector<std::string> missing = resolveEntryPoints(library_, info_.name, entry_);
    if (!missing.empty()) {
        return Failure{ExitCode::kFailed, "load the provider", info_.path,
                       fmt::format("it lacks {} of its entry points: {}", missing.size(), fmt::join(missing, ", "))};
    }
    return Done{};
}

Status Provider::start() {
    language_ = userLanguage();
    languagePointer_ = language_.empty() ? nullptr : language_.data();
    init_.language = &languagePointer_;
    zfi_version version{};
    CallOutcome outcome = call([&](const EntryPoints& entry) { return entry.init(&init_, &version, "tarnctl"); });
    if (!outcome.isOk()) {
        return failureOf(*this, outcome, "start the provider", info_.path);
    }
    isStarted_ = true;
    info_.version = fmt::format("{}.{}.{}.{}", version.major, version.minor, version.update, version.build);
    return Done{};
}

void Provider::describe() {
    zfi_provider_list* list = nullptr;
    CallOutcome outcome = call([&](const EntryPoints& entry) { return entry.get_provider_info(&list); });
    if (outcome.isOk() && list != nullptr && list->fiTypes != nullptr) {
        for (char** type = list->fiTypes; *type != nullptr; ++type) {
            info_.fiTypes.emplace_back(*type);
        }
    }
    constexpr uint64_t kFileSystemLayer = 16;
    info_.isFileSystemLayer = outcome.isOk() && list != nullptr && list->capabilities == kFileSystemLayer;
    znfi_free_providerlist(list);
}

void Provider::beginReports() {
    tap_.take();
    zfi_msg_info* old = nullptr;
    entry_.get_last_error(&old);
    entry_.del_last_error(&old);
}

void Provider::endReports(CallOutcome& outcome) {
    zfi_msg_info* newest = nullptr;
    entry_.get_last_error(&newest);
    for (const zfi_msg_info* message = newest; message != nullptr; message = message->next) {
        ProviderMessage kept{message->id, {}, message->text, message->severity};
        for (char** argument = message->arguments; argument != nullptr && *argument != nullptr; ++argument) {
            kept.arguments.emplace_back(*argument);
        }
        outcome.messages.insert(outcome.messages.begin(), std::move(kept));
    }
    entry_.del_last_error(&newest);
    outcome.traceLines = tap_.take();
}

Failure failureOf(Provider& provider, const CallOutcome& outcome, std::string operation, std::string subject) {
    Failure failure{ExitCode::kFailed, std::move(operation), std::move(subject), {}};
    if (!outcome.escaped.empty()) {
        failure.cause =
            fmt::format("{} let an exception escape, which is its defect: {}", provider.name(), outcome.escaped);
    } else {
        const char* text = nullptr;
        CallOutcome asked =
            provider.call([&](const EntryPoints& entry) { return entry.errmsg(outcome.status, &text); });
        failure.cause = fmt::format("{} answered {} ({})", provider.name(), outcome.status,
                                    asked.isOk() && text != nullptr ? text : "no text");
    }
    for (const ProviderMessage& message : outcome.messages) {
        failure.messages.push_back(message.text.empty() ? message.id : message.text);
    }
    failure.traceLines = outcome.traceLines;
    switch (outcome.status) {
        case ZFI_ERR_BUSY:
        case ZFI_ERR_MOUNTED_ELSEWHERE:
            failure.code = ExitCode::kBusy;
            break;
        case ZFI_ERR_NOT_SUPPORTED:
            failure.code = ExitCode::kUnsupported;
            break;
        case ZFI_ERR_NOT_MOUNTED:
        case ZFI_ERR_ALT_PATH_MISSING:
            failure.code = ExitCode::kNotFound;
            break;
        default:
            break;
    }
    return failure;
}

}  // namespace tarnctl
