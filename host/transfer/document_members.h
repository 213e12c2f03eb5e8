// The members of a document that somebody else wrote, each read as exactly what it has to be.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>

#include "host/report/report.h"

namespace tarnctl {

inline constexpr std::size_t kLongestWord = 255;  // bytes of a host's name, a provider's, a type's

// What all of these throw, with the reason.
struct Refused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// All answer from `object` itself; references live as long as it does. Any thread.
const Json& member(const Json& object, const std::string& key);
// `value` itself: an object with no other members than these; each may have its bytes beside it. `what` is how the
// reason names it.
const Json& objectWith(const Json& value, const std::string& what, std::initializer_list<std::string> known);
// A text, or bytes in both forms, which must say the same. `longest` in bytes.
std::string bytesAt(const Json& object, const std::string& key, std::size_t longest);
// A text that is UTF-8.
std::string textAt(const Json& object, const std::string& key, std::size_t longest = kLongestWord);
// One of lower-case letters, digits and the `further` characters; it may be empty.
std::string wordAt(const Json& object, const std::string& key, std::string_view further);
// An integer from 0.
std::int64_t countAt(const Json& object, const std::string& key);
bool flagAt(const Json& object, const std::string& key);

}  // namespace tarnctl
