// What tables of online_resource share.
#pragma once

#include <gtest/gtest.h>

#include "bed.h"

namespace bed {

inline int onlineResourceAt(Bed& bed, const char* device, const char* place, const char* options = nullptr) {
    char* devices[] = {bed.text(device)};
    return bed.call().online_resource(devices, 1, place == nullptr ? nullptr : bed.text(place), nullptr,
                                      options == nullptr ? nullptr : bed.text(options), nullptr, 0, &bed.outPaths,
                                      &bed.outInt);
}

inline Trace onlinesResource(const Trace& inside) {
    return entry("online_resource", method("onlineResource", inside));
}

inline Trace looksUpDevice(const std::string& device) {
    return {detail("Calling znfs_getmnt for :" + device), error("tarn_getmnt: device [" + device + "] is not mounted")};
}

inline Trace exitsWith(const std::string& command, const std::string& status) {
    return {warning("executeCommand - Exec Pipe failed with error code [11]"),
            warning("executeCommand - Command [" + command + "] failed with error code [" + status + "]")};
}

inline Trace mountsResource(const std::string& command, const Trace& failure = {}) {
    return {progress("TARN::onlineResource - mount command = " + command), executes(command, failure)};
}

inline const Line kMountFailed = error("CTARN::onlineResource - mount command failed to mount device");

inline void handsBackNoPath(Bed& bed) {
    EXPECT_EQ(bed.outInt, -77);
    EXPECT_EQ(bed.outPaths, nullptr);
}

}  // namespace bed
