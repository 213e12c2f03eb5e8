// What a step keeps as JSON in the catalog, read again: each step's own shape stands with the step.
#pragma once

#include <exception>

#include "host/catalog/records.h"
#include "host/report/failure.h"
#include "host/report/report.h"

namespace tarnctl {

// What `read` makes of the step's data. kFailed for a text that is no such data.
template <typename Undo>
Result<Undo> readStepData(const StepRecord& step, Undo (*read)(const Json& data)) {
    try {
        return read(Json::parse(step.intent.undo));
    } catch (const std::exception& error) {
        return Failure{ExitCode::kFailed, "read the catalog", step.key.snapshot,
                       "the undo data of its step " + step.intent.name + " cannot be read: " + error.what()};
    }
}

}  // namespace tarnctl
