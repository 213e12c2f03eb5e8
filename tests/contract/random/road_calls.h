// The calls that a random road is made of.
#pragma once

#include <vector>

#include "framework.h"

namespace roads {

// Where a call chooses something, a small number chooses it.
struct Arguments {
    int node = 0;
    int other = 0;
    int choice = 0;
};
constexpr int kChoices = 64;

// One kind of call. step changes the model as the contract says and, with a framework, makes the call and compares what
// it answers; without one only the model moves.
struct Call {
    const char* name;
    void (*step)(Model& model, const Arguments& arguments, Framework* framework);
    // Calls that a framework must not make in this state; null: it always may.
    bool (*isAllowed)(const Model& model, const Arguments& arguments) = nullptr;
    int weight = 1;
};

const std::vector<Call>& nodeCalls();      // nodes, their data and their state
const std::vector<Call>& treeCalls();      // what mounts, unmounts, formats
const std::vector<Call>& sessionCalls();   // sessions, start and end
const std::vector<Call>& questionCalls();  // what answers without doing anything
std::vector<Call> allCalls();

}  // namespace roads
