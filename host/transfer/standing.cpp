#include "host/transfer/standing.h"

namespace tarnctl {
namespace {

bool isLive(const StepRecord& step) {
    return step.state == StepState::kIntended || step.state == StepState::kDone;
}

struct Seen {
    bool isMounted = false;
    bool isAttached = false;
    bool isHalf = false;
};

Status take(const StepRecord& step, Standing& standing, Seen& seen) {
    const std::string& name = step.intent.name;
    if (name == step::kMount) {
        auto undo = mountUndoOf(step);
        if (!undo) {
            return undo.failure();
        }
        standing.lastMounted = *undo;
        if (isLive(step)) {
            standing.mounted = *undo;
            seen.isMounted = true;
            seen.isHalf = seen.isHalf || step.state == StepState::kIntended;
        }
    } else if (name == step::kAttach && isLive(step)) {
        seen.isAttached = true;
        seen.isHalf = seen.isHalf || step.state == StepState::kIntended;
    } else if (name == step::kImport) {
        auto facts = importFactsOf(step);
        if (!facts) {
            return facts.failure();
        }
        standing.imported = *facts;
        standing.superblock = facts->superblock;
    } else if (name == step::kUmount) {
        auto superblock = superblockOf(step);
        if (!superblock) {
            return superblock.failure();
        }
        if (!superblock->type.empty()) {
            standing.superblock = *superblock;
        }
        if (step.state == StepState::kIntended) {
            standing.unfinishedUmount.push_back(step.key);
        }
    }
    return Done{};
}

}  // namespace

Result<Standing> standingOf(const Catalog& catalog, const SnapshotRecord& record) {
    auto steps = catalog.steps(record.id);
    if (!steps) {
        return steps.failure();
    }
    Standing standing;
    Seen seen;
    for (const StepRecord& step : *steps) {
        if (Status taken = take(step, standing, seen); !taken) {
            return taken.failure();
        }
    }
    standing.state = nameOf(record.state);
    if (record.state == SnapshotState::kReady) {
        if (!standing.unfinishedUmount.empty()) {
            standing.state = "unmounting";
        } else if (seen.isHalf || (seen.isAttached && !seen.isMounted)) {
            standing.state = "mounting";
        } else if (!seen.isMounted) {
            standing.state = "unmounted";
        }
    }
    return standing;
}

}  // namespace tarnctl
