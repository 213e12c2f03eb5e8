// What a framework, its host and its nodes are between two calls, and what each entry point makes of them: the other
// side of the comparison, written from the contract. Every member function is one call; it changes the model and
// answers the status that the provider must answer.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "bed/bed.h"

namespace roads {

struct MountEntry {
    std::string device;
    std::string mountPoint;
    std::string type;
    std::string options;
};

enum class CommandsDo { kSucceed, kFailToMount, kFail, kSayBusy, kDie, kHang, kMiss };

struct HostModel {
    std::vector<MountEntry> table = {};
    bool isReadable = true;
    CommandsDo commands = CommandsDo::kSucceed;
    bool isServed = false;  // is every file system of a type that is claimed?

    bool runs(const std::string& command) const;
    const MountEntry* at(const std::string& mountPoint) const;
    const MountEntry* of(const std::string& device) const;
    // As the bed shapes it.
    bed::Host shape() const;
};

// Hosts that differ in mount table, what the commands do, and whether file systems are claimed.
constexpr int kHosts = 64;
HostModel hostNumber(int number);

struct Data {
    bed::State state = {};
    std::vector<std::string> subObjects = {};
    bool isAlternate = false;
};

constexpr int kNothing = -1;

struct NodeModel {
    std::string name;
    std::string requestedName = {};
    int data = kNothing;  // of Model::data: the slot
    bool hasRecord = false;
    bool isOffline = false;
    bool isMade = false;
};

constexpr int kNodes = 7;
constexpr int kSessions = 2;

// What a call answers beside its status, as far as the contract says.
struct Expected {
    int status = 0;
    std::string name = {};                // of the object id that it hands out
    std::vector<std::string> names = {};  // of a list of them
};

struct Model {
    Model();

    Data* dataOf(int node);
    int records() const;

    Expected initNode(int node);
    Expected initAltNode(int node);
    void deInitNode(int node);
    Expected restoreState(int node, const bed::State& state);
    void attach(int node, bool isAlternate);
    Expected claim(const std::string& name) const;
    Expected freeze(int node);
    Expected remount(int node);
    Expected buildAltTree(int node, const std::string& device);
    Expected importTree(int node, const std::string& device);
    Expected deportTree(int altNode) const;
    Expected online(int node, int operation, int disposition);
    Expected disableAccess(const std::vector<int>& list, bool isForced);
    Expected enableAccess(const std::vector<int>& list, const std::string& device);
    Expected onlineResource(const std::string& device, const std::string& mountPoint) const;
    Expected updateSnapshotHandle(int session, int node, const std::string& snapshot);
    void addNodes(int session, const std::vector<int>& list);
    Expected make(int session, const std::vector<int>& list);
    void startAnew();

    HostModel host;
    std::vector<NodeModel> nodes;
    std::vector<Data> data;  // never shrinks
    std::map<std::string, int> source;
    std::map<std::string, int> alternate;
    std::map<std::string, std::string> sessions[kSessions];  // node's name to its snapshot's

  private:
    Expected recordMount(int node);
    std::string freeName(const std::string& base) const;
    bool isRequested(int node) const { return !nodes[static_cast<size_t>(node)].requestedName.empty(); }
};

}  // namespace roads
