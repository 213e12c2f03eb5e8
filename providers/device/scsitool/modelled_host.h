// Test support: a host as the kernel would show it, laid out in a folder of its own after a description in trees/.
//
// A description has one entry a line: "f path content" a file, "d path" a folder, "l path target" a link, all below the
// folder for /sys (below the one for /dev with "dev:" before the path), "n name" a device node (a plain file).
#pragma once

#include <string>

class ModelledHost {
  public:
    explicit ModelledHost(const std::string& description);
    ModelledHost(const ModelledHost&) = delete;
    ModelledHost& operator=(const ModelledHost&) = delete;
    ~ModelledHost();

    std::string sysfs() const { return root_ + "/sys"; }
    std::string devices() const { return root_ + "/dev"; }
    std::string node(const std::string& name) const { return devices() + '/' + name; }
    std::string read(const std::string& relative) const;
    void write(const std::string& relative, const std::string& content) const;
    void remove(const std::string& relative) const;

    std::string scanOf(const std::string& host) const { return read("class/scsi_host/" + host + "/scan"); }
    // What was written to have the device removed; empty when nothing was.
    std::string deleteOf(const std::string& address) const {
        return read("class/scsi_device/" + address + "/device/delete");
    }

  private:
    std::string root_;
};
