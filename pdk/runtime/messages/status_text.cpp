#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "cfimessagecatalog.h"
#include "messages/bundle_text.h"

namespace {

// Texts handed out stay where they are; made when the library is loaded, so that they outlive those who hold them.
class StatusTexts {
  public:
    const char* get(int code, const std::string& bundle) {
        const std::lock_guard lock(mutex_);
        const Key key{bundle, code};
        for (const Texts* texts : {&named_, &unknown_}) {
            if (const auto made = texts->find(key); made != texts->end()) {
                return made->second.c_str();
            }
        }
        if (auto text = textOf("STATUS_" + std::to_string(code), bundle, code)) {
            return named_.try_emplace(key, std::move(*text)).first->second.c_str();
        }
        return unknown(key);
    }

  private:
    using Key = std::pair<std::string, int>;
    using Texts = std::map<Key, std::string>;

    static constexpr size_t kMaxUnknown = 1024;  // numbers come from callers: the table must not grow with them

    static std::optional<std::string> textOf(const std::string& textKey, const std::string& bundle, int code) {
        using namespace znfi_runtime;
        return bundleText(Table::kStatus, bundle, textKey, {icu::UnicodeString(std::to_string(code).c_str())});
    }

    const char* unknown(const Key& key) {
        if (unknown_.size() >= kMaxUnknown) {
            return "unknown status";
        }
        const auto text = textOf("UNKNOWN", key.first, key.second);
        return unknown_.try_emplace(key, text.value_or("status " + std::to_string(key.second))).first->second.c_str();
    }

    std::mutex mutex_;
    Texts named_;
    Texts unknown_;
};

StatusTexts statusTexts;

}  // namespace

const char* znfi_status_text(int code, const char* locale) {
    try {
        return statusTexts.get(code, znfi_runtime::bundleOf(locale == nullptr ? "" : locale));
    } catch (const std::bad_alloc&) {
        return "not enough memory for the status text";
    }
}
