#include <memory>
#include <new>
#include <string>
#include <vector>

#include "znfi.h"

namespace {

// A list node together with what it points to.
struct ProviderRecord : zfi_provider_list {
    ProviderRecord(const char* providerName, char* const* types)
        : zfi_provider_list{}, nameCopy(providerName == nullptr ? "" : providerName) {
        for (; types != nullptr && *types != nullptr; ++types) {
            typeCopies.emplace_back(*types);
        }
        for (std::string& type : typeCopies) {
            typePointers.push_back(type.data());
        }
        typePointers.push_back(nullptr);
        name = nameCopy.data();
        fiTypes = typePointers.data();
    }
    ProviderRecord(const ProviderRecord&) = delete;
    ProviderRecord& operator=(const ProviderRecord&) = delete;

    std::string nameCopy;
    std::vector<std::string> typeCopies;
    std::vector<char*> typePointers;
};

}  // namespace

zfi_provider_list* znfi_build_providerlist_node(const char* name, uint64_t capabilities, uint32_t kind,
                                                const zfi_version* version, char* const* fiTypes) {
    try {
        auto record = std::make_unique<ProviderRecord>(name, fiTypes);
        record->capabilities = capabilities;
        record->kind = kind;
        record->version = version == nullptr ? zfi_version{} : *version;
        return record.release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void znfi_free_providerlist(zfi_provider_list* list) {
    while (list != nullptr) {
        const std::unique_ptr<ProviderRecord> record(static_cast<ProviderRecord*>(list));
        list = record->next;
    }
}
