// The command runner, the trace log and the catalogue manager as the plug-in sees them: they can be told to throw, and
// the runner's arguments are kept.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace raising {

struct Run {
    std::string command;
    unsigned long timeout = 0;
    bool othersAreEmpty = false;
};

// Called once, and expected to throw: by the next run of a command that begins so, by the next trace line that is no
// scope's, by the next registration of a catalogue factory, by the next message that is pushed.
void raiseInRunner(std::function<void()> raise, std::string command = "");
void raiseInTrace(std::function<void()> raise);
void raiseInCatalog(std::function<void()> raise);
void raiseInPush(std::function<void()> raise);
// The next run is not made: it answers this code.
void answerInRunner(int code);
// How many catalogue factories were registered since the last call.
int takeRegistrations();
// The runs since the last call.
std::vector<Run> takeRuns();

}  // namespace raising
