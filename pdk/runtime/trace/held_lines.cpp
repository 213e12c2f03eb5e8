#include "trace/held_lines.h"

#include <sys/mman.h>

#include <cstring>

namespace znfi_runtime {
namespace {

struct Head {
    timespec time;
    int64_t level;
    size_t pluginSize;
    size_t textSize;

    size_t recordSize() const {
        const size_t bytes = sizeof(Head) + pluginSize + 1 + textSize + 1;
        return (bytes + alignof(Head) - 1) / alignof(Head) * alignof(Head);
    }
};

char* putTerminated(char* out, std::string_view text) noexcept {
    std::memcpy(out, text.data(), text.size());
    out[text.size()] = '\0';
    return out + text.size() + 1;
}

}  // namespace

HeldLines::~HeldLines() {
    if (pages_ != nullptr) {
        munmap(pages_, kCapacity);
    }
}

void HeldLines::prepare() noexcept {
    if (pages_ != nullptr) {
        return;
    }
    void* pages = mmap(nullptr, kCapacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (pages != MAP_FAILED) {
        mlock(pages, kCapacity);  // where the limits allow it, the pages stay; where not, they are at least there
        pages_ = static_cast<char*>(pages);
    }
}

void HeldLines::add(const TraceLine& line) noexcept {
    const Head head{line.time, line.level, line.plugin.size(), line.text.size()};
    if (pages_ == nullptr || dropped_ > 0 || head.recordSize() > kCapacity - used_) {
        ++dropped_;
        return;
    }
    char* out = pages_ + used_;
    std::memcpy(out, &head, sizeof head);
    putTerminated(putTerminated(out + sizeof head, line.plugin), line.text);
    used_ += head.recordSize();
}

size_t HeldLines::read(size_t at, TraceLine& line) const noexcept {
    Head head;
    std::memcpy(&head, pages_ + at, sizeof head);
    const char* plugin = pages_ + at + sizeof head;
    line = {head.time,
            static_cast<int>(head.level),
            {plugin, head.pluginSize},
            {plugin + head.pluginSize + 1, head.textSize}};
    return at + head.recordSize();
}

void HeldLines::clear() noexcept {
    used_ = 0;
    dropped_ = 0;
}

}  // namespace znfi_runtime
