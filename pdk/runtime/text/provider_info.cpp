#include <utility>

#include "cfiproviderinfo.h"
#include "cfistringtool.h"

CFiProviderInfo::CFiProviderInfo(uint64_t capabilities, uint32_t kind)
    : capabilities_(capabilities), kind_(kind), typeList_(CFiStringTool::tstrduplist(types_)) {}

CFiProviderInfo::~CFiProviderInfo() {
    CFiStringTool::tstrfreelist(typeList_);
}

void CFiProviderInfo::addType(const zfi_tstring& type) {
    types_.push_back(type);
    wholeText(types_.back());
    CFiStringTool::tstrfreelist(typeList_);
    typeList_ = CFiStringTool::tstrduplist(types_);
}

CFiProviderInfoListFactory::CFiProviderInfoListFactory(zfi_tstring providerName, zfi_version version,
                                                       zfi_provider_list** head)
    : CFiList(head, nullptr), version_(version), providerName_(std::move(providerName)) {}

CFiProviderInfoListFactory::~CFiProviderInfoListFactory() = default;

zfi_provider_list* CFiProviderInfoListFactory::allocateListElement(CFiProviderInfo& info) {
    return znfi_build_providerlist_node(wholeText(providerName_).c_str(), info.getCapabilities(), info.getKind(),
                                        &version_, info.getTypeList());
}
