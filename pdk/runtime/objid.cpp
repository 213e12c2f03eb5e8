#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "znfi.h"

namespace {

// An id and the name that it points to; never moved once made.
struct InternedId {
    explicit InternedId(std::string_view text, int flag) : name(text) {
        id.name = name.data();
        id.length = static_cast<uint32_t>(name.size() + 1);
        id.flag = static_cast<uint32_t>(flag);
    }
    InternedId(const InternedId&) = delete;
    InternedId& operator=(const InternedId&) = delete;

    std::string name;
    znfi_objid id{};
};

class ObjectIds {
  public:
    znfi_objid* get(std::string_view name, int flag) {
        const std::lock_guard lock(mutex_);
        auto entry = byName_.find({name, flag});
        if (entry == byName_.end()) {
            auto made = std::make_unique<InternedId>(name, flag);
            const Key key{made->name, flag};
            entry = byName_.try_emplace(key, std::move(made)).first;
        }
        return &entry->second->id;
    }

  private:
    using Key = std::pair<std::string_view, int>;

    std::mutex mutex_;
    std::map<Key, std::unique_ptr<InternedId>> byName_;  // a key points into its own value
};

// Made when the library is loaded, so that it is still there when the objects of later loaded libraries go.
ObjectIds objectIds;

}  // namespace

znfi_objid* znfi_get_objid(const char* name, uint32_t length, int flag) {
    if (name == nullptr) {
        return nullptr;
    }
    const std::string_view text(name, length == 0 ? 0 : strnlen(name, length - 1));
    if (text.empty() && flag == ZFI_OBJID_NAMED) {
        return nullptr;
    }
    try {
        return objectIds.get(text, flag);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
