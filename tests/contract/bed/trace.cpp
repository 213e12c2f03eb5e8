#include "trace.h"

#include <regex>
#include <sstream>
#include <utility>

#include "host.h"
#include "znfi.h"

namespace bed {
namespace {

constexpr int kLevel = 6;

Trace recorded;

// "[123, source]" of a scope line becomes "[#, source]"; a line number of 0 or less stays and so is found out.
std::string withoutLineNumber(const std::string& text) {
    static const std::regex scopeLine(R"(^((?:Entering|Exiting) Function \w+ )\[[1-9][0-9]*, (\w+)\]$)");
    return std::regex_replace(text, scopeLine, "$1[#, $2]");
}

void record(void*, int level, const char*, const char* text) {
    const std::string line = withoutLineNumber(text);
    recorded.add(level, line);
    afterTrace(line);
}

}  // namespace

Trace::Trace(std::initializer_list<Trace> parts) {
    for (const Trace& part : parts) {
        lines_.insert(lines_.end(), part.lines_.begin(), part.lines_.end());
    }
}

void Trace::add(int level, const std::string& text) {
    lines_.push_back({level, text});
}

std::string Trace::render() const {
    std::ostringstream out;
    for (const Line& line : lines_) {
        out << line.level << ' ' << std::regex_replace(line.text, std::regex("\n"), "\\n") << '\n';
    }
    return out.str();
}

Trace scope(const std::string& function, const std::string& source, const Trace& inside) {
    const std::string where = " Function " + function + " [#, " + source + "]";
    return {detail("Entering" + where), inside, detail("Exiting" + where)};
}

Trace entry(const std::string& name, const Trace& inside) {
    return scope("tarnfi_fi_pgn_" + name, "cfiapiexport", inside);
}

Trace method(const std::string& name, const Trace& inside) {
    return scope(name, "tarn_plugin", inside);
}

Trace recordsMount() {
    return {method("setDevName"), method("setFsType"), method("setMntOpts")};
}

Trace executes(const std::string& command, const Trace& failure) {
    return method("executeCommand", {detail("executeCommand - Command : " + command), failure});
}

Trace primitive(const std::string& name, const std::string& command) {
    return method(name, progress("Command : " + command));
}

void recordTrace() {
    recorded = {};
    znfi_trace_set_level(kLevel);
    znfi_trace_sink(record, nullptr);
}

Trace takeTrace() {
    return std::exchange(recorded, {});
}

}  // namespace bed
