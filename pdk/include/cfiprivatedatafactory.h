// Where a plug-in's private data lives: two ordered maps by object name, one for source nodes and one for alternate
// nodes, and a counted reference in the slot of every domain that uses an object. Not locked: a framework calls one
// plug-in from one thread at a time.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cfiprivatedata.h"
#include "cfismartptr.h"
#include "cfistring.h"
#include "cfitraceable.h"
#include "znfi.h"

class ZNFI_API CFiPrivateDataFactory : public virtual CFiRefCount, public virtual CFiTraceable {
  public:
    ~CFiPrivateDataFactory() override;
    // The node's private data, made and attached when the domain's slot is empty. Two domains of one name and flag
    // share an object. When the slot is set, what it holds is answered and the flag does not matter.
    virtual CFiSmartPtr<CFiPrivateData> allocate(zfi_domain* domain, bool isAltNode) = 0;
    // What the slot holds; null when it is empty (or the domain is null).
    virtual CFiSmartPtr<CFiPrivateData> access(zfi_domain* domain) = 0;
    // Empties the slot; the object goes when only the map still held it. 0, or -1 when nothing was attached.
    virtual int deallocate(zfi_domain* domain) = 0;
    virtual CFiSmartPtr<CFiPrivateData> accessByName(const zfi_tstring& name, bool isAltNode) = 0;
    // Every object of one map, in key order.
    virtual std::vector<CFiSmartPtr<CFiPrivateData>> getPrivateDataList(bool isAltNode) = 0;
};

// T: the plug-in's class, derived from CFiPrivateData, with a constructor (znfi_objid*, bool).
template <typename T>
class CFiPrivateDataConcreteFactory : public CFiPrivateDataFactory {
  public:
    CFiSmartPtr<CFiPrivateData> allocate(zfi_domain* domain, bool isAltNode) override {
        if (Slot* slot = slotOf(domain)) {
            return *slot;
        }
        auto attached = std::make_unique<Slot>();  // first: without a slot nobody would give the object back
        Map& map = mapOf(isAltNode);
        auto [entry, isNew] = map.try_emplace(domain->objid->name);
        if (isNew) {
            try {
                entry->second = makeCounted<T>(domain->objid, isAltNode);
                entry->second->registerTraceLog(traceLog());
            } catch (...) {
                map.erase(entry);
                throw;
            }
        }
        *attached = entry->second;
        domain->privateData = attached.release();
        return entry->second;
    }

    CFiSmartPtr<CFiPrivateData> access(zfi_domain* domain) override {
        Slot* slot = slotOf(domain);
        return slot == nullptr ? Slot() : *slot;
    }

    int deallocate(zfi_domain* domain) override {
        Slot* slot = slotOf(domain);
        if (slot == nullptr) {
            return -1;
        }
        Map& map = mapOf((*slot)->getIsAltNode());
        delete slot;
        domain->privateData = nullptr;
        auto entry = map.find(domain->objid->name);
        if (entry != map.end() && entry->second->getCount() == 1) {
            map.erase(entry);
        }
        return 0;
    }

    CFiSmartPtr<CFiPrivateData> accessByName(const zfi_tstring& name, bool isAltNode) override {
        Map& map = mapOf(isAltNode);
        auto entry = map.find(std::string(name.c_str(), name.length()));
        return entry == map.end() ? Slot() : entry->second;
    }

    std::vector<CFiSmartPtr<CFiPrivateData>> getPrivateDataList(bool isAltNode) override {
        std::vector<CFiSmartPtr<CFiPrivateData>> list;
        for (auto& [name, data] : mapOf(isAltNode)) {
            list.push_back(data);
        }
        return list;
    }

  private:
    using Slot = CFiSmartPtr<CFiPrivateData>;
    using Map = std::map<std::string, Slot>;

    static Slot* slotOf(zfi_domain* domain) {
        return domain == nullptr ? nullptr : static_cast<Slot*>(domain->privateData);
    }
    Map& mapOf(bool isAltNode) { return isAltNode ? alternate_ : source_; }

    Map source_;
    Map alternate_;
};

// One per plug-in; owns the factory.
class ZNFI_API CFiPrivateDataManager : public virtual CFiRefCount, public virtual CFiTraceable {
  public:
    CFiPrivateDataManager();
    ~CFiPrivateDataManager() override;
    // Replaces and releases any factory installed before.
    void registerFactory(const CFiSmartPtr<CFiPrivateDataFactory>& factory) { factory_ = factory; }
    // Null before a plug-in installed one.
    const CFiSmartPtr<CFiPrivateDataFactory>& getFactory() const { return factory_; }

  private:
    CFiSmartPtr<CFiPrivateDataFactory> factory_;
};
