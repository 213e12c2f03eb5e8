#include <linux/limits.h>

#include <algorithm>

#include "host/mounts/preflight.h"

namespace tarnctl {
namespace {

std::string kindText(NameKind kind) {
    switch (kind) {
        case NameKind::kMountPoint:
            return "mount point";
        case NameKind::kAlternate:
            return "alternate name";
        case NameKind::kDevice:
            return "device";
    }
    return "name";
}

bool wouldSplit(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte <= 0x20 || byte == 0x7F || character == '"';
}

bool hasLongComponent(std::string_view name) {
    while (!name.empty()) {
        const std::size_t end = std::min(name.find('/'), name.size());
        if (end > NAME_MAX) {
            return true;
        }
        name.remove_prefix(std::min(end + 1, name.size()));
    }
    return false;
}

std::string objection(NameKind kind, std::string_view name) {
    if (name.empty()) {
        return "is empty";
    }
    if (name.front() == '-') {
        return "begins with \"-\", which commands would take for an option";
    }
    if (kind != NameKind::kDevice && name.front() != '/') {
        return "must begin with \"/\"";
    }
    if (std::any_of(name.begin(), name.end(), wouldSplit)) {
        return "holds a blank, tab, line break, control character or double quote, at which commands would split it";
    }
    if (name.size() >= PATH_MAX || hasLongComponent(name)) {
        return "is too long: the system takes 255 bytes between slashes and 4,095 in all";
    }
    return "";
}

}  // namespace

std::string withoutTrailingSlashes(std::string_view path) {
    while (path.size() > 1 && path.back() == '/') {
        path.remove_suffix(1);
    }
    return std::string(path);
}

Status checkName(NameKind kind, std::string_view name) {
    const std::string problem = objection(kind, name);
    if (problem.empty()) {
        return Done{};
    }
    return Failure{ExitCode::kUnsupported, "check the " + kindText(kind), std::string(name), "the name " + problem};
}

}  // namespace tarnctl
