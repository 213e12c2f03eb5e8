// What get_provider_info answers: provider records chained into a list.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cfistring.h"
#include "znfi.h"

class ZNFI_API CFiProviderInfo {
  public:
    CFiProviderInfo(uint64_t capabilities, uint32_t kind);
    CFiProviderInfo(const CFiProviderInfo&) = delete;
    CFiProviderInfo& operator=(const CFiProviderInfo&) = delete;
    ~CFiProviderInfo();

    void addType(const zfi_tstring& type);
    uint64_t getCapabilities() const { return capabilities_; }
    uint32_t getKind() const { return kind_; }
    // The type names, ended by a null pointer; owned by this object and valid until the next addType.
    char** getTypeList() const { return typeList_; }

  private:
    uint64_t capabilities_;
    uint32_t kind_;
    std::vector<zfi_tstring> types_;
    char** typeList_;
};

// A chain of framework records, built from what describes them. The records belong to whoever reads the chain.
template <typename Element, typename Info>
class CFiList {
  public:
    // head: where the chain starts, set by finish; counter: counts added elements, may be null.
    CFiList(Element** head, int* counter) : out_(head), counter_(counter) {}
    CFiList(const CFiList&) = delete;
    CFiList& operator=(const CFiList&) = delete;
    virtual ~CFiList() = default;

    // Appends one record at the tail; an info that no record can be made of adds nothing.
    void add(Info& info) {
        Element* element = allocateListElement(info);
        if (element == nullptr) {
            return;
        }
        element->next = nullptr;
        Element** tail = &head_;
        while (*tail != nullptr) {
            tail = &(*tail)->next;
        }
        *tail = element;
        if (counter_ != nullptr) {
            ++*counter_;
        }
    }
    void finish() { *out_ = head_; }

  protected:
    virtual Element* allocateListElement(Info& info) = 0;

  private:
    Element* head_ = nullptr;
    Element** out_;
    int* counter_;
};

class ZNFI_API CFiProviderInfoListFactory : public CFiList<zfi_provider_list, CFiProviderInfo> {
  public:
    CFiProviderInfoListFactory(zfi_tstring providerName, zfi_version version, zfi_provider_list** head);
    ~CFiProviderInfoListFactory() override;

  protected:
    zfi_provider_list* allocateListElement(CFiProviderInfo& info) override;

  private:
    zfi_version version_;
    zfi_tstring providerName_;
};
