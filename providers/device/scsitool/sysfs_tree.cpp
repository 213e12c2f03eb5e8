#include "sysfs_tree.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <string_view>

#include "open_file.h"

namespace fs = std::filesystem;

bool SysfsTree::has(const std::string& relative) const {
    std::error_code ignored;
    return fs::exists(path(relative), ignored);
}

std::vector<std::string> SysfsTree::entries(const std::string& relative) const {
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator at(path(relative), error), end; !error && at != end; at.increment(error)) {
        names.push_back(at->path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<std::string> SysfsTree::read(const std::string& relative) const {
    const OpenFile file(path(relative), O_RDONLY);
    std::array<char, 4096> page;  // no attribute of text is longer
    const ssize_t length = file ? ::read(file.descriptor(), page.data(), page.size()) : -1;
    if (length < 0) {
        return std::nullopt;
    }
    constexpr std::string_view kBlank = " \t\n";
    const std::string_view text(page.data(), static_cast<std::size_t>(length));
    const std::size_t first = text.find_first_not_of(kBlank);
    return first == text.npos ? std::string()
                              : std::string(text.substr(first, text.find_last_not_of(kBlank) - first + 1));
}

int SysfsTree::write(const std::string& relative, const std::string& value) const {
    const OpenFile file(path(relative), O_WRONLY);
    if (!file) {
        return file.error();
    }
    return ::write(file.descriptor(), value.data(), value.size()) < 0 ? errno : 0;
}
