// The kernel's view of the devices, as files below one folder ("/sys").
#pragma once

#include <optional>
#include <string>
#include <vector>

// Paths are relative to the root. Nothing throws but std::bad_alloc; what cannot be read is absent.
class SysfsTree {
  public:
    explicit SysfsTree(std::string root) : root_(std::move(root)) {}

    std::string path(const std::string& relative) const { return root_ + '/' + relative; }
    bool has(const std::string& relative) const;
    // Names in a folder, sorted; none where there is no such folder.
    std::vector<std::string> entries(const std::string& relative) const;
    // An attribute without the blanks and the line end that surround it.
    std::optional<std::string> read(const std::string& relative) const;
    // Writes an attribute that exists. 0 or the errno.
    int write(const std::string& relative, const std::string& value) const;

  private:
    std::string root_;
};
