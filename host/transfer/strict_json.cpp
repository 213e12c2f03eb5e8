#include "host/transfer/strict_json.h"

#include <set>
#include <vector>

namespace tarnctl {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr int kDeepest = 16;

Failure refusal(const std::string& subject, std::string cause) {
    return Failure{ExitCode::kUnsupported, "read the document", subject, std::move(cause)};
}

// Watches the parser: of two members of one name it would silently keep one.
class Watch {
  public:
    bool operator()(int depth, Json::parse_event_t event, Json& parsed) {
        if (depth > kDeepest) {
            complain("it nests deeper than any such document");
            return false;
        }
        if (event == Json::parse_event_t::object_start) {
            open_.emplace_back();
        } else if (event == Json::parse_event_t::object_end && !open_.empty()) {
            open_.pop_back();
        } else if (event == Json::parse_event_t::key && !open_.empty() && parsed.is_string()) {
            const auto& name = parsed.get_ref<const std::string&>();
            if (!open_.back().insert(name).second) {
                complain("it has two members named " + name + " in one object");
            }
        }
        return true;
    }
    const std::string& complaint() const { return complaint_; }

  private:
    void complain(std::string text) {
        if (complaint_.empty()) {
            complaint_ = std::move(text);
        }
    }

    std::vector<std::set<std::string>> open_;
    std::string complaint_;
};

}  // namespace

Result<Json> strictJson(std::string_view text, const std::string& subject) {
    if (text.size() > kLargestDocument) {
        return refusal(subject, "it is larger than 1 MiB, which no such document is");
    }
    if (text.starts_with(kByteOrderMark)) {
        return refusal(subject, "it begins with a byte-order mark, which JSON does not have: an editor added it");
    }
    try {
        Watch watch;
        Json parsed = Json::parse(text.begin(), text.end(), [&](int depth, Json::parse_event_t event, Json& value) {
            return watch(depth, event, value);
        });
        if (!watch.complaint().empty()) {
            return refusal(subject, watch.complaint());
        }
        return parsed;
    } catch (const std::exception& error) {
        return refusal(subject, std::string("it is no JSON: ") + error.what());
    }
}

}  // namespace tarnctl
