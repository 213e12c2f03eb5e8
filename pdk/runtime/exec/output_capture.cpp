#include "output_capture.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace znfi_runtime {
namespace {

std::size_t countLines(std::string_view text) {
    std::size_t lines = 0;
    for (std::size_t at = 0; at < text.size(); ++lines) {
        const std::size_t end = text.find('\n', at);
        at = end == std::string_view::npos ? text.size() : end + 1;
    }
    return lines;
}

// `lines` may still hold the output of earlier commands: room is made once, by at least doubling.
void makeRoom(std::vector<std::string>& lines, std::size_t more) {
    const std::size_t needed = lines.size() + more;
    if (needed > lines.capacity()) {
        lines.reserve(std::max(needed, 2 * lines.size()));
    }
}

void split(std::string_view text, std::vector<std::string>& lines) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        lines.emplace_back(text.substr(at, end - at));
        at = end + 1;
    }
}

}  // namespace

std::span<char> OutputCapture::room() {
    if (capacity_ - size_ < kLeastRoom) {
        if (capacity_ < kMost) {
            grow();
        } else {
            dropMiddle();
        }
    }
    return {bytes_.get() + size_, capacity_ - size_};
}

void OutputCapture::grow() {
    const std::size_t doubled = std::max(2 * capacity_, kFirstRead);
    const std::size_t larger = doubled < kWhole ? doubled : kMost;
    auto bytes = std::make_unique_for_overwrite<char[]>(larger);
    if (size_ > 0) {
        std::memcpy(bytes.get(), bytes_.get(), size_);
    }
    bytes_ = std::move(bytes);
    capacity_ = larger;
}

void OutputCapture::dropMiddle() {
    if (head_ == 0) {
        head_ = headEnd();
    }
    const std::size_t kept = kTail + kLineSlack;
    dropped_ += size_ - kept - head_;
    std::memmove(bytes_.get() + head_, bytes_.get() + size_ - kept, kept);
    size_ = head_ + kept;
}

std::size_t OutputCapture::headEnd() const {
    const std::string_view slack(bytes_.get() + kHead - 1, kLineSlack + 1);
    const std::size_t newline = slack.find('\n');
    return newline == std::string_view::npos ? kHead : kHead + newline;
}

std::size_t OutputCapture::tailBegin(std::size_t head) const {
    const std::size_t latest = size_ - kTail;
    const std::size_t earliest = std::max(head, latest - kLineSlack);
    const std::size_t newline = std::string_view(bytes_.get() + earliest, latest - earliest).rfind('\n');
    return newline == std::string_view::npos ? latest : earliest + newline + 1;
}

void OutputCapture::appendTo(std::vector<std::string>& lines) const {
    const std::string_view all(bytes_.get(), size_);
    if (head_ == 0 && size_ <= kWhole) {
        makeRoom(lines, countLines(all));
        split(all, lines);
        return;
    }
    const std::size_t head = head_ == 0 ? headEnd() : head_;
    const std::size_t tail = tailBegin(head);
    const std::size_t dropped = dropped_ + tail - head;
    makeRoom(lines, countLines(all.substr(0, head)) + 1 + countLines(all.substr(tail)));
    split(all.substr(0, head), lines);
    lines.push_back("[... " + std::to_string(dropped) + " bytes of output dropped ...]");
    split(all.substr(tail), lines);
}

}  // namespace znfi_runtime
