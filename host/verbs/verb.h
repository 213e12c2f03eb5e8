// What all verbs share: how one is chosen, and how it answers. One file per verb; each adds itself to the command line.
#pragma once

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <functional>

#include "host/installation.h"
#include "host/report/failure.h"
#include "host/report/report.h"
#include "host/road/snapshot_road.h"

namespace tarnctl {

// The chosen verb, its arguments bound; the result is the program's exit status.
using Verb = std::function<int(Installation&)>;

void addProbe(CLI::App& app, Verb& chosen);
void addSnapshot(CLI::App& app, Verb& chosen);
void addList(CLI::App& app, Verb& chosen);
void addShow(CLI::App& app, Verb& chosen);
void addDelete(CLI::App& app, Verb& chosen);
void addRun(CLI::App& app, Verb& chosen);
void addFormat(CLI::App& app, Verb& chosen);
void addRestore(CLI::App& app, Verb& chosen);
void addOnline(CLI::App& app, Verb& chosen);
void addPlugin(CLI::App& app, Verb& chosen);
void addExport(CLI::App& app, Verb& chosen);
void addImport(CLI::App& app, Verb& chosen);
void addMount(CLI::App& app, Verb& chosen);
void addUmount(CLI::App& app, Verb& chosen);

// What snapshot and run do first, and delete and run last.
Result<Snapshot> makeSnapshot(Installation& installation, const std::string& path, Caching caching);
// --sync of both; caching outlives the parsing.
void addSyncOption(CLI::App& verb, Caching& caching);
Status deleteSnapshot(Installation& installation, const std::string& id);

// One JSON document on standard output.
void printJson(const Json& value);

// Text for people on standard output; names from the system in it must have passed terminalText.
void printText(const std::string& text);

// The failure, on standard error for people or on standard output as JSON; its exit status.
int answer(const Installation& installation, const Failure& failure);

}  // namespace tarnctl
