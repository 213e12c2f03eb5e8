// Trace lines: what is expected, written like the call that makes them, and what was recorded.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

namespace bed {

// The line number and source of a scope line are written "[#, source]" here: only the source is compared.
struct Line {
    int level;
    std::string text;
};

class Trace {
  public:
    Trace() = default;
    Trace(Line line) : lines_{std::move(line)} {}
    Trace(std::initializer_list<Trace> parts);

    void add(int level, const std::string& text);
    const std::vector<Line>& lines() const { return lines_; }
    // One line a line: level and text, with line breaks inside a text written \n.
    std::string render() const;

  private:
    std::vector<Line> lines_;
};

inline Line error(std::string text) {
    return {1, std::move(text)};
}
inline Line warning(std::string text) {
    return {2, std::move(text)};
}
inline Line progress(std::string text) {
    return {3, std::move(text)};
}
inline Line detail(std::string text) {
    return {6, std::move(text)};
}

// A function scope: its entry line, what happens inside, its exit line.
Trace scope(const std::string& function, const std::string& source, const Trace& inside);
// An entry point of the provider "tarnfi" (NAME without the prefix), a member of the plug-in or of the private data.
Trace entry(const std::string& name, const Trace& inside);
Trace method(const std::string& name, const Trace& inside = {});
// What the private data's setters write when a mount is recorded.
Trace recordsMount();
// executeCommand with a command that succeeds, and inside it what a failure adds.
Trace executes(const std::string& command, const Trace& failure = {});
// The common form of the primitives: the command, inside a member of that name.
Trace primitive(const std::string& name, const std::string& command);

// Takes the runtime's trace at level 6 from now on; its lines are given to the host's table changes as they come.
void recordTrace();
// What was recorded since the last call of recordTrace or takeTrace.
Trace takeTrace();

}  // namespace bed
