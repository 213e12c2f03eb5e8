// The bounded string functions on arbitrary memory: whatever the destination holds, whatever the source is cut at, no
// call leaves its buffers (exactly sized heap blocks, watched by the sanitizer), and what was written is terminated.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "z_strings.h"
#include "z_wide_strings.h"

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// Hands out the fuzzer's bytes front to back; zeroes once they are used up.
class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : next_(data), left_(size) {}

    std::uint8_t byte() {
        if (left_ == 0) {
            return 0;
        }
        --left_;
        return *next_++;
    }

    // A sixteenth of the characters are terminators, so that texts end in every place.
    template <typename Character>
    std::vector<Character> memory(std::size_t count) {
        std::vector<Character> made(count);
        for (auto& cell : made) {
            const std::uint8_t value = byte();
            cell = value < 16 ? Character{} : static_cast<Character>(value);
        }
        made.shrink_to_fit();
        return made;
    }

  private:
    const std::uint8_t* next_;
    std::size_t left_;
};

template <typename Character, typename Copy, typename Verify>
void fuzzOne(Input& input, Copy copy, Verify verify) {
    const std::size_t size = input.byte() % 64;
    auto dst = input.memory<Character>(size);
    auto src = input.memory<Character>(input.byte() % 64);
    // Ended by a terminator, or without one exactly where nothing more may be read.
    if (src.size() >= size) {
        src.resize(size);
    } else {
        src.push_back(Character{});
    }
    src.shrink_to_fit();
    const bool wasTerminated = verify(dst.data(), size, nullptr) == 0;
    const auto before = dst;
    const std::size_t result = copy(dst.data(), src.data(), size);
    std::size_t length = 0;
    const bool isTerminated = verify(dst.data(), size, &length) == 0;
    require(result == 0 || (isTerminated && result < size));
    require(!wasTerminated || isTerminated);
    require(isTerminated || dst == before);
}

void fuzzFormat(Input& input) {
    const std::size_t size = 1 + input.byte() % 64U;
    auto text = input.memory<char>(64);
    text.back() = '\0';
    std::vector<char> dst(size, '.');
    const int written = Z_snprintf(dst.data(), size, "%s", text.data());
    const std::string whole(text.data());
    require(std::string(dst.data()) == whole.substr(0, size - 1));
    require(written == static_cast<int>(std::min(whole.size(), size - 1)));
}

// The destination may be its own argument, and lies at the end of what may be touched.
void fuzzWideFormat(Input& input) {
    const std::size_t size = 1 + input.byte() % 64U;
    auto text = input.memory<wchar_t>(64);
    text.back() = L'\0';
    const std::wstring whole = L"<" + std::wstring(text.data()) + L">";
    std::vector<wchar_t> dst(size, L'.');
    const int written = Z_snwprintf(dst.data(), size, L"<%ls>", text.data());
    require(std::wstring(dst.data()) == whole.substr(0, size - 1));
    require(written == (whole.size() < size ? static_cast<int>(whole.size()) : -1));
    const std::wstring once = L"<" + std::wstring(dst.data()) + L">";
    Z_snwprintf(dst.data(), size, L"<%ls>", dst.data());
    require(std::wstring(dst.data()) == once.substr(0, size - 1));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::uint8_t call = input.byte();
    const std::size_t n = input.byte() % 80;
    switch (call % 10) {
        case 0:
            fuzzOne<char>(input, Z_strlcpy, Z_strverify);
            break;
        case 1:
            fuzzOne<char>(input, Z_strlcat, Z_strverify);
            break;
        case 2:
            fuzzOne<char>(
                input, [n](auto* d, auto* s, auto z) { return Z_strlncpy(d, s, n, z); }, Z_strverify);
            break;
        case 3:
            fuzzOne<char>(
                input, [n](auto* d, auto* s, auto z) { return Z_strlncat(d, s, n, z); }, Z_strverify);
            break;
        case 4:
            fuzzOne<wchar_t>(input, Z_wcslcpy, Z_wstrverify);
            break;
        case 5:
            fuzzOne<wchar_t>(input, Z_wcslcat, Z_wstrverify);
            break;
        case 6:
            fuzzOne<wchar_t>(
                input, [n](auto* d, auto* s, auto z) { return Z_wcslncpy(d, s, n, z); }, Z_wstrverify);
            break;
        case 7:
            fuzzOne<wchar_t>(
                input, [n](auto* d, auto* s, auto z) { return Z_wcslncat(d, s, n, z); }, Z_wstrverify);
            break;
        case 8:
            fuzzFormat(input);
            break;
        default:
            fuzzWideFormat(input);
            break;
    }
    return 0;
}
