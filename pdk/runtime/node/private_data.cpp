#include <algorithm>
#include <utility>

#include "cfiprivatedata.h"

namespace {

bool isIndex(int index) {
    return index == 0 || index == 1;
}

}  // namespace

CFiPrivateData::CFiPrivateData(znfi_objid* objid, bool isAltNode) : objid_(objid), isAltNode_(isAltNode) {}

CFiPrivateData::~CFiPrivateData() = default;

bool CFiPrivateData::hasConfigInfoList(int index) {
    return configInfoList(index) != nullptr;
}

bool CFiPrivateData::hasConfigDataList(int index) {
    return configDataList(index) != nullptr;
}

void CFiPrivateData::addDefaultConfigParamsToDataList(int index, CFiConfigParamInfoList* list) {
    if (!isIndex(index) || list == nullptr) {
        return;
    }
    std::unique_ptr<CFiConfigDataList>& data = configData_[index];
    if (!data) {
        data = std::make_unique<CFiConfigDataList>();
    }
    for (const std::string& name : list->parameters) {
        if (std::none_of(data->values.begin(), data->values.end(), [&](auto& value) { return value.first == name; })) {
            data->values.emplace_back(name, "");
        }
    }
}

CFiConfigParamInfoList* CFiPrivateData::configInfoList(int index) {
    return isIndex(index) ? configInfo_[index].get() : nullptr;
}

CFiConfigDataList* CFiPrivateData::configDataList(int index) {
    return isIndex(index) ? configData_[index].get() : nullptr;
}

void CFiPrivateData::setIntent(zfi_intent intent) {
    intent_ = intent;
}

zfi_intent CFiPrivateData::getIntent() {
    return intent_;
}

void CFiPrivateData::setSplitType(const char* splitType) {
    if (splitType != nullptr) {
        splitType_ = splitType;
    }
}

std::string CFiPrivateData::getSplitType() {
    return splitType_;
}

void CFiPrivateData::setSessionId(const char* sessionId) {
    if (sessionId != nullptr) {
        sessionId_ = sessionId;
    }
}

std::string CFiPrivateData::getSessionId() {
    return sessionId_;
}

std::vector<zfi_tstring> CFiPrivateData::getHostList() {
    return hosts_;
}

void CFiPrivateData::setHostList(zfi_host_infn* hosts) {
    for (; hosts != nullptr; hosts = hosts->next) {
        if (hosts->hostName != nullptr) {
            hosts_.emplace_back(hosts->hostName);
        }
    }
}

bool CFiPrivateData::getTransportable() {
    return transportable_;
}

void CFiPrivateData::setTransportable(bool transportable) {
    transportable_ = transportable;
}

int CFiPrivateData::setNodeState(zfi_blob* blob) {
    return blob == nullptr ? ZFI_ERR_INVALID_ARGUMENT : ZFI_OK;
}

int CFiPrivateData::getNodeState(zfi_blob* blob) {
    if (blob == nullptr) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    *blob = {.length = 0, .data = nullptr, .encoding = ZFI_BLOB_TEXT, .reserved = 0};
    return ZFI_OK;
}

char* CFiPrivateData::getObjName() {
    return objid_ == nullptr ? nullptr : objid_->name;
}

void CFiPrivateData::addSubObject(znfi_objid* object) {
    if (object != nullptr) {
        subObjects_.push_back(object);
    }
}

std::vector<znfi_objid*>& CFiPrivateData::getSubObjectList() {
    return subObjects_;
}

int CFiPrivateData::getSubObjectListLength() {
    return static_cast<int>(subObjects_.size());
}

void CFiPrivateData::setIsAltNode(bool isAltNode) {
    isAltNode_ = isAltNode;
}

bool CFiPrivateData::getIsAltNode() {
    return isAltNode_;
}

std::string CFiPrivateData::getConfiguredTarget() {
    return configuredTarget_;
}

std::vector<std::string> CFiPrivateData::getTargets() {
    return targets_;
}

void CFiPrivateData::addTarget(std::string target) {
    targets_.push_back(std::move(target));
}

void CFiPrivateData::setConfiguredTarget(std::string& target) {
    configuredTarget_ = target;
}

void CFiPrivateData::selectTargetFromConfigData() {
    for (const auto& data : configData_) {
        if (!data) {
            continue;
        }
        const auto value = std::find_if(data->values.begin(), data->values.end(),
                                        [](const auto& candidate) { return candidate.first == "target"; });
        if (value != data->values.end()) {
            configuredTarget_ = value->second;
            return;
        }
    }
}
