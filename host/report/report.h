// How the host tells people and programs what went wrong. Nothing here writes: callers print the text on standard error
// or the JSON on standard output. All functions are pure and may run on any thread.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "host/report/failure.h"

namespace tarnctl {

// Keeps the order in which keys were written: people read it too.
using Json = nlohmann::ordered_json;

// The text with everything a terminal would act on made visible: control characters (C0, DEL, C1), characters that
// reorder or hide text (bidirectional controls, zero width, line and paragraph separators) and bytes that are no UTF-8
// become \n, \t, \xNN or \u{NNNN}. What is printable stays as it is; a line break is escaped too.
std::string terminalText(std::string_view text);

// The failure for people, one line break at the end of each line:
//     tarnctl: attach the snapshot: /data: <cause>
//         message: <what the error manager said>
//         trace: <level-1 line>
//         undoing: remove the snapshot file: /images/x: <cause>
//             message: …
// Lines within a cause, message or trace line continue one step further in, so that no text can pass for another line.
std::string failureText(const Failure& failure);

// {"ok":false,"exitCode":…,"operation":…,"subject":…,"cause":…,"messages":[…],"trace":[…],"undoing":[…]}
// The members of "undoing" have the same shape without "ok" and "exitCode". A subject that is no UTF-8 is followed by
// "subjectBytes": all of its bytes in lower-case hexadecimal, because "subject" then holds replacement characters.
Json failureJson(const Failure& failure);

// Stores `bytes` under `key`, and when they are no UTF-8 their hexadecimal form under `key` + "Bytes". For every field
// of every verb that holds a name from the system.
void putBytes(Json& object, const std::string& key, std::string_view bytes);

// What putBytes stored, exactly; nothing where `object` is no object, the key is missing or what is there is no such
// text. Never throws.
std::optional<std::string> getBytes(const Json& object, const std::string& key);

// One line of pure ASCII (everything else is escaped), no line break at its end. Bytes that are no UTF-8 become U+FFFD;
// never fails for them.
std::string jsonText(const Json& value);

}  // namespace tarnctl
