#include <map>
#include <mutex>
#include <new>
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
        const auto known = texts_.find({bundle, code});
        if (known != texts_.end()) {
            return known->second.c_str();
        }
        if (texts_.size() >= kMaxTexts) {
            return "unknown status";
        }
        return texts_.try_emplace({bundle, code}, make(code, bundle)).first->second.c_str();
    }

  private:
    static constexpr size_t kMaxTexts = 4096;  // far more than codes there are: numbers come from callers

    static std::string make(int code, const std::string& bundle) {
        using namespace znfi_runtime;
        const std::string number = std::to_string(code);
        auto text = bundleText(Table::kStatus, bundle, "STATUS_" + number, {});
        if (!text) {
            text = bundleText(Table::kStatus, bundle, "UNKNOWN", {icu::UnicodeString(number.c_str())});
        }
        return text ? *text : "status " + number;
    }

    std::mutex mutex_;
    std::map<std::pair<std::string, int>, std::string> texts_;
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
