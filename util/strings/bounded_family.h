// Test support: the narrow and the wide half of the family under one set of names, so that a test is written once.
#pragma once

#include "z_strings.h"
#include "z_wide_strings.h"

template <typename Character>
struct BoundedFamily;

template <>
struct BoundedFamily<char> {
    static constexpr auto copy = &Z_strlcpy;
    static constexpr auto append = &Z_strlcat;
    static constexpr auto copyFilled = &Z_strlncpy;
    static constexpr auto appendSome = &Z_strlncat;
    static constexpr auto verify = &Z_strverify;
};

template <>
struct BoundedFamily<wchar_t> {
    static constexpr auto copy = &Z_wcslcpy;
    static constexpr auto append = &Z_wcslcat;
    static constexpr auto copyFilled = &Z_wcslncpy;
    static constexpr auto appendSome = &Z_wcslncat;
    static constexpr auto verify = &Z_wstrverify;
};
