// What the plug-in keeps for one file system: the facts needed to mount it again elsewhere, and their text form, which
// travels with the snapshot's metadata from the source host to the alternate host.
#pragma once

#include <string>

#include "cfiprivatedata.h"

class CTARNPrivData : public CFiPrivateData {
  public:
    // objid: the node; interned, so it outlives this object.
    CTARNPrivData(znfi_objid* objid, bool isAltNode);
    ~CTARNPrivData() override;

    // Restores the five facts from the text in the blob. 0 also when the blob is empty or not a text (nothing changes);
    // 3 for a null blob. Throws std::out_of_range when the text ends before the place where a missing tag makes a value
    // start: the facts before it keep their new values.
    int setNodeState(zfi_blob* blob) override;
    // Writes the five facts: data is a new buffer of znfi_alloc_buf that the framework frees; what the blob held before
    // is the framework's too. 0; 3 for a null blob, 5 without memory (the blob is then unchanged).
    int getNodeState(zfi_blob* blob) override;

    // A null text keeps the old value.
    virtual void setDevName(const char* text);
    virtual void setAltName(const char* text);
    virtual void setFsType(const char* text);
    virtual void setMntOpts(const char* text);
    virtual void setFsVersion(const char* text);

    std::string devName;
    std::string fsType;
    std::string mntOpts;
    std::string altName;
    std::string fsVersion;

  private:
    std::string stateText() const;
};
