// Every function against a plain model of it, on generated texts, in buffers that end at unreadable memory.
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>

#include "bounded_family.h"
#include "guarded_memory.h"

namespace {

template <typename Character>
struct Model {
    using Memory = std::vector<Character>;

    struct Outcome {
        std::size_t result;
        Memory destination;
        bool operator==(const Outcome&) const = default;
    };

    static std::optional<std::size_t> terminator(const Memory& memory, std::size_t within) {
        for (std::size_t at = 0; at < within; ++at) {
            if (memory.at(at) == Character{}) {
                return at;
            }
        }
        return std::nullopt;
    }

    // What a terminated write of `text` from `at` on, in a destination of `size`, leaves behind.
    static Outcome place(Memory destination, std::size_t at, const Memory& text, std::size_t size) {
        const std::size_t fits = std::min(text.size(), size - at - 1);
        std::copy_n(text.begin(), fits, destination.begin() + static_cast<std::ptrdiff_t>(at));
        destination.at(at + fits) = Character{};
        return {fits, destination};
    }

    static Outcome copy(const Memory& destination, const Memory& text, std::size_t size) {
        return size == 0 ? Outcome{0, destination} : place(destination, 0, text, size);
    }

    static Outcome append(const Memory& destination, const Memory& text, std::size_t size) {
        const auto end = terminator(destination, size);
        return end ? place(destination, *end, text, size) : Outcome{0, destination};
    }

    static Outcome copyFilled(const Memory& destination, Memory text, std::size_t n, std::size_t size) {
        text.resize(n);
        return copy(destination, text, size);
    }

    static Outcome appendSome(const Memory& destination, Memory text, std::size_t n, std::size_t size) {
        text.resize(std::min(text.size(), n));
        return append(destination, text, size);
    }
};

template <typename Character>
class AgainstModel : public testing::Test {
  public:
    using Memory = std::vector<Character>;
    using Family = BoundedFamily<Character>;
    using Outcome = typename Model<Character>::Outcome;

    struct Case {
        Memory destination;  // at least as long as `size`
        Memory text;         // without terminators
        std::size_t size;
        std::size_t n;
    };

    static Case generate() {
        const auto letter = rc::gen::map(rc::gen::inRange(1, 127), [](int c) { return static_cast<Character>(c); });
        const auto cell = rc::gen::weightedOneOf<Character>({{5, letter}, {1, rc::gen::just(Character{})}});
        Case made;
        made.destination = *rc::gen::container<Memory>(*rc::gen::inRange<std::size_t>(0, 24), cell);
        made.text = *rc::gen::container<Memory>(*rc::gen::inRange<std::size_t>(0, 24), letter);
        const std::size_t whole = made.destination.size();
        made.size = *rc::gen::weightedOneOf<std::size_t>(
            {{3, rc::gen::just(whole)}, {1, rc::gen::inRange<std::size_t>(0, whole + 1)}});
        made.n = *rc::gen::inRange<std::size_t>(0, 30);
        return made;
    }

    // The source as the function gets it: without terminator where it is as long as may be read.
    static Memory source(const Case& made, std::size_t readable) {
        Memory memory = made.text;
        if (memory.size() >= readable) {
            memory.resize(readable);
        } else {
            memory.push_back(Character{});
        }
        return memory;
    }

    template <typename Call>
    static Outcome run(const Case& made, std::size_t readable, Call call) {
        GuardedMemory<Character> destination(made.destination);
        GuardedMemory<Character> text(source(made, readable));
        const std::size_t result = call(destination.data(), text.data());
        return {result, destination.contents()};
    }
};
using Characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(AgainstModel, Characters);

TYPED_TEST(AgainstModel, Copy) {
    EXPECT_TRUE(rc::check([] {
        const auto made = TestFixture::generate();
        const auto got = TestFixture::run(made, made.size == 0 ? 0 : made.size - 1, [&](auto* dst, auto* src) {
            return TestFixture::Family::copy(dst, src, made.size);
        });
        RC_ASSERT((got == Model<TypeParam>::copy(made.destination, made.text, made.size)));
    }));
}

TYPED_TEST(AgainstModel, Append) {
    EXPECT_TRUE(rc::check([] {
        const auto made = TestFixture::generate();
        const auto got = TestFixture::run(made, made.size == 0 ? 0 : made.size - 1, [&](auto* dst, auto* src) {
            return TestFixture::Family::append(dst, src, made.size);
        });
        RC_ASSERT((got == Model<TypeParam>::append(made.destination, made.text, made.size)));
    }));
}

TYPED_TEST(AgainstModel, CopyFilled) {
    EXPECT_TRUE(rc::check([] {
        const auto made = TestFixture::generate();
        const auto got = TestFixture::run(made, std::min(made.n, made.size), [&](auto* dst, auto* src) {
            return TestFixture::Family::copyFilled(dst, src, made.n, made.size);
        });
        RC_ASSERT((got == Model<TypeParam>::copyFilled(made.destination, made.text, made.n, made.size)));
    }));
}

TYPED_TEST(AgainstModel, AppendSome) {
    EXPECT_TRUE(rc::check([] {
        const auto made = TestFixture::generate();
        const auto got = TestFixture::run(made, made.size == 0 ? 0 : made.size - 1, [&](auto* dst, auto* src) {
            return TestFixture::Family::appendSome(dst, src, made.n, made.size);
        });
        RC_ASSERT((got == Model<TypeParam>::appendSome(made.destination, made.text, made.n, made.size)));
    }));
}

TYPED_TEST(AgainstModel, Verify) {
    EXPECT_TRUE(rc::check([] {
        const auto made = TestFixture::generate();
        GuardedMemory<TypeParam> buffer(made.destination);
        std::size_t length = 99;
        const int result = TestFixture::Family::verify(buffer.data(), made.size, &length);
        const auto expected = Model<TypeParam>::terminator(made.destination, made.size);
        RC_ASSERT(result == (expected ? 0 : -1));
        RC_ASSERT(length == expected.value_or(0));
        RC_ASSERT(buffer.contents() == made.destination);
    }));
}

TEST(DumbReallocModel, KeepsThePrefixOverAnyChain) {
    EXPECT_TRUE(rc::check([](const std::vector<unsigned char>& seed) {
        void* block = nullptr;
        std::vector<unsigned char> expected;
        for (const unsigned char wanted : seed) {
            const std::size_t size = wanted + std::size_t{1};
            void* const result = Z_dumb_realloc(&block, size);
            RC_ASSERT((result != nullptr));
            RC_ASSERT((result == block));
            expected.resize(std::min(size, expected.size()));
            RC_ASSERT(std::equal(expected.begin(), expected.end(), static_cast<unsigned char*>(block)));
            expected.assign(size, wanted);
            std::memset(block, wanted, size);
        }
        std::free(block);
    }));
}

}  // namespace
