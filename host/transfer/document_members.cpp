#include "host/transfer/document_members.h"

#include <algorithm>
#include <optional>

namespace tarnctl {

const Json& member(const Json& object, const std::string& key) {
    const auto found = object.find(key);
    if (found == object.end()) {
        throw Refused("it lacks the member " + key);
    }
    return *found;
}

const Json& objectWith(const Json& value, const std::string& what, std::initializer_list<std::string> known) {
    if (!value.is_object()) {
        throw Refused(what + " is no object");
    }
    for (const auto& [key, ignored] : value.items()) {
        const bool isKnown = std::any_of(known.begin(), known.end(), [&key = key](const std::string& one) {
            return key == one || key == one + "Bytes";
        });
        if (!isKnown) {
            throw Refused(what + " has the unknown member " + key);
        }
    }
    return value;
}

std::string bytesAt(const Json& object, const std::string& key, std::size_t longest) {
    const Json& plain = member(object, key);
    const std::optional<std::string> bytes = getBytes(object, key);
    if (!plain.is_string() || !bytes) {
        throw Refused("its member " + key + " is no text");
    }
    if (bytes->size() > longest || bytes->find('\0') != std::string::npos) {
        throw Refused("its member " + key + " is too long or holds a NUL");
    }
    Json again;
    putBytes(again, key, *bytes);
    again = Json::parse(jsonText(again));
    const bool isSame = again.contains(key + "Bytes") == object.contains(key + "Bytes") && again.at(key) == plain;
    if (!isSame) {
        throw Refused("its members " + key + " and " + key + "Bytes do not say the same");
    }
    return *bytes;
}

std::string textAt(const Json& object, const std::string& key, std::size_t longest) {
    if (object.contains(key + "Bytes")) {
        throw Refused("its member " + key + " is no text");
    }
    return bytesAt(object, key, longest);
}

std::string wordAt(const Json& object, const std::string& key, std::string_view further) {
    const std::string word = textAt(object, key);
    const auto isFit = [&](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || further.find(c) != std::string_view::npos;
    };
    if (!std::all_of(word.begin(), word.end(), isFit)) {
        throw Refused("its member " + key + " holds a character that does not belong there");
    }
    return word;
}

std::int64_t countAt(const Json& object, const std::string& key) {
    const Json& value = member(object, key);
    if (!value.is_number_integer() || (value.is_number_unsigned() && value.get<std::uint64_t>() > INT64_MAX) ||
        value.get<std::int64_t>() < 0) {
        throw Refused("its member " + key + " is no count");
    }
    return value.get<std::int64_t>();
}

bool flagAt(const Json& object, const std::string& key) {
    const Json& value = member(object, key);
    if (!value.is_boolean()) {
        throw Refused("its member " + key + " is neither true nor false");
    }
    return value.get<bool>();
}

}  // namespace tarnctl
