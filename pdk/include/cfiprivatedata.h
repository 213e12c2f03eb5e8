// What a provider keeps for one node. Created only by the private-data factory and shared through CFiSmartPtr; used by
// one framework call at a time.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cficonfig.h"
#include "cfismartptr.h"
#include "cfistring.h"
#include "cfitraceable.h"
#include "znfi.h"

class ZNFI_API CFiPrivateData : public virtual CFiRefCount, public virtual CFiTraceable {
  public:
    // objid: the node; not owned, and interned, so it outlives this object.
    CFiPrivateData(znfi_objid* objid, bool isAltNode);
    ~CFiPrivateData() override;

    // index of the configuration lists: 0 or 1. Out of range counts as not set.
    virtual bool hasConfigInfoList(int index);
    virtual bool hasConfigDataList(int index);
    // Every parameter of the list that the data list does not hold gets an empty value there.
    virtual void addDefaultConfigParamsToDataList(int index, CFiConfigParamInfoList* list);
    // Owned by this object; null when not set.
    virtual CFiConfigParamInfoList* configInfoList(int index);
    virtual CFiConfigDataList* configDataList(int index);
    virtual void setIntent(zfi_intent intent);
    virtual zfi_intent getIntent();
    // A null text leaves the old one.
    virtual void setSplitType(const char* splitType);
    virtual std::string getSplitType();
    virtual void setSessionId(const char* sessionId);
    virtual std::string getSessionId();
    virtual std::vector<zfi_tstring> getHostList();
    // Appends each non-null host name; the list is not cleared first.
    virtual void setHostList(zfi_host_infn* hosts);
    virtual bool getTransportable();
    virtual void setTransportable(bool transportable);
    // Restore from and write into the framework's record of the node; both answer a status. The base holds nothing:
    // it restores nothing and writes an empty record.
    virtual int setNodeState(zfi_blob* blob);
    virtual int getNodeState(zfi_blob* blob);
    virtual char* getObjName();
    // A null sub-object adds nothing.
    virtual void addSubObject(znfi_objid* object);
    virtual std::vector<znfi_objid*>& getSubObjectList();
    virtual int getSubObjectListLength();
    virtual void setIsAltNode(bool isAltNode);
    virtual bool getIsAltNode();
    virtual std::string getConfiguredTarget();
    virtual std::vector<std::string> getTargets();
    virtual void addTarget(std::string target);
    virtual void setConfiguredTarget(std::string& target);
    // The configured target becomes the first value named "target" of the configuration data, if there is one.
    virtual void selectTargetFromConfigData();

  private:
    znfi_objid* objid_;
    std::vector<znfi_objid*> subObjects_;
    bool isAltNode_;
    std::string sessionId_;
    std::string splitType_;
    std::string configuredTarget_;
    std::vector<std::string> targets_;
    bool transportable_ = false;
    std::vector<zfi_tstring> hosts_;
    zfi_intent intent_ = ZFI_INTENT_NONE;
    std::unique_ptr<CFiConfigParamInfoList> configInfo_[2];
    std::unique_ptr<CFiConfigDataList> configData_[2];
};
