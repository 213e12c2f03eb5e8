#include "host.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "layout.h"
#include "private_host.h"

namespace bed {
namespace {

namespace fs = std::filesystem;

std::vector<TableChange> pendingChanges;
int openings = 0;

// In place: the file may be bind-mounted.
void writeFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

void setMountTable(bool unreadable, const std::string& text) {
    if (unreadable) {
        fs::remove(BED_MOUNT_TABLE);
    } else {
        writeFile(BED_MOUNT_TABLE, text);
    }
}

void prepare(const Answer& answer) {
    const fs::path folder =
        fs::path(BED_ANSWERS) / answer.command / (answer.nth == 0 ? "every" : std::to_string(answer.nth));
    fs::create_directories(folder);
    writeFile(folder / "exit", std::to_string(answer.exitStatus));
    writeFile(folder / "output", answer.prints);
    if (answer.setsMountTable) {
        writeFile(folder / "mtab", answer.mountTable);
    }
    if (answer.endsBySignal != 0) {
        writeFile(folder / "signal", std::to_string(answer.endsBySignal));
    }
    if (answer.hangs) {
        writeFile(folder / "hangs", "");
    }
}

void placePrograms(const char* const* commands, const std::vector<std::string>& missing) {
    for (; *commands != nullptr; ++commands) {
        const fs::path program = fs::path(BED_PROGRAMS) / *commands;
        fs::remove(program);
        if (std::find(missing.begin(), missing.end(), *commands) == missing.end()) {
            fs::create_hard_link(fs::path(BED_PROGRAMS) / ".recorder", program);
        }
    }
}

void apply(const TableChange& change) {
    setMountTable(change.unreadable, change.mountTable);
}

}  // namespace

void shapeHost(const Host& host) {
    fs::remove(BED_LOG);
    fs::remove(BED_HANGING);
    fs::remove_all(BED_ANSWERS);
    setMountTable(host.tableUnreadable, host.mountTable);
    writeFile(BED_PROC_MOUNTS, host.procMounts);
    placePrograms(bedBinCommands, host.missingCommands);
    placePrograms(bedSbinCommands, host.missingCommands);
    for (const Answer& answer : host.answers) {
        prepare(answer);
    }
    pendingChanges = host.changes;
    openings = 0;
}

void afterTrace(const std::string& text) {
    for (const TableChange& change : pendingChanges) {
        if (!change.afterText.empty() && change.afterText == text) {
            apply(change);
        }
    }
}

void beforeOpening(const char* path) {
    if (path == nullptr || std::strcmp(path, "/etc/mtab") != 0) {
        return;
    }
    ++openings;
    for (const TableChange& change : pendingChanges) {
        if (change.beforeOpening == openings) {
            apply(change);
        }
    }
}

Commands commandsRun() {
    std::ifstream file(BED_LOG, std::ios::binary);
    Commands commands;
    for (std::string count; std::getline(file, count, '\0');) {
        Command command(std::stoul(count));
        for (std::string& argument : command) {
            std::getline(file, argument, '\0');
        }
        commands.push_back(std::move(command));
    }
    return commands;
}

std::string render(const Commands& commands) {
    std::ostringstream text;
    for (const Command& command : commands) {
        for (const std::string& argument : command) {
            text << '[' << argument << "] ";
        }
        text << '\n';
    }
    return text.str();
}

}  // namespace bed
