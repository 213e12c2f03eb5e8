#include "modelled_host.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

void makeFile(const fs::path& path, const std::string& content) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << content;
}

}  // namespace

ModelledHost::ModelledHost(const std::string& description) {
    std::string folder = fs::temp_directory_path() / "tarnfi-test-host-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        throw std::runtime_error("no folder for a host");
    }
    root_ = folder;
    fs::create_directories(sysfs());
    fs::create_directories(devices());
    std::ifstream lines(std::string(TARN_SCSI_TREES) + '/' + description + ".tree");
    if (!lines) {
        throw std::runtime_error("no description " + description);
    }
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::size_t blank = line.find(' ', 2);
        std::string name = line.substr(2, blank == line.npos ? line.npos : blank - 2);
        const std::string content = blank == line.npos ? "" : line.substr(blank + 1);
        const bool isDevice = name.starts_with("dev:");
        const fs::path path = isDevice ? node(name.substr(4)) : sysfs() + '/' + name;
        if (line.front() == 'f') {
            makeFile(path, content.empty() ? "" : content + '\n');
        } else if (line.front() == 'd') {
            fs::create_directories(path);
        } else if (line.front() == 'l') {
            fs::create_directories(path.parent_path());
            fs::create_symlink(content, path);
        } else if (line.front() == 'n') {
            makeFile(node(name), "");
        } else {
            throw std::runtime_error("description " + description + ": " + line);
        }
    }
}

ModelledHost::~ModelledHost() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
}

std::string ModelledHost::read(const std::string& relative) const {
    std::ifstream file(sysfs() + '/' + relative);
    return {std::istreambuf_iterator<char>(file), {}};
}

void ModelledHost::write(const std::string& relative, const std::string& content) const {
    makeFile(sysfs() + '/' + relative, content);
}

void ModelledHost::remove(const std::string& relative) const {
    fs::remove_all(sysfs() + '/' + relative);
}
