// What the private host looks like to the plug-in, and what was done to it.
#pragma once

#include <string>
#include <vector>

namespace bed {

// How a command answers. nth 0: every call that has no answer of its own. Without any answer a command prints nothing
// and succeeds.
struct Answer {
    std::string command;  // "mount", "xfs_freeze", …
    int nth = 0;
    int exitStatus = 0;
    std::string prints = {};
    bool setsMountTable = false;
    std::string mountTable = {};  // what the mount table is after it
    int endsBySignal = 0;
    bool hangs = false;
};

// A change of the mount table in the middle of a call: right after a trace line, or before its n-th opening.
struct TableChange {
    std::string afterText = {};
    int beforeOpening = 0;
    bool unreadable = false;
    std::string mountTable = {};
};

struct Host {
    std::string mountTable = {};  // /etc/mtab
    bool tableUnreadable = false;
    std::string procMounts = {};  // /proc/mounts
    std::vector<Answer> answers = {};
    std::vector<std::string> missingCommands = {};
    std::vector<TableChange> changes = {};
};

using Command = std::vector<std::string>;  // argv
using Commands = std::vector<Command>;

// Shapes the host anew: answers start at their first call, and no command has been run.
void shapeHost(const Host& host);
// The commands run since then, in order.
Commands commandsRun();
// Where the shaped host's table changes are asked for: by the trace recorder and by the openings of the mount table.
void afterTrace(const std::string& text);
void beforeOpening(const char* path);

// One command a line, arguments quoted, for comparison and reading.
std::string render(const Commands& commands);

}  // namespace bed
